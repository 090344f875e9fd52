# Turns the public key of the envelope, a PEM file, into envelope_key.h in the build folder, and refuses a key that is
# not RSA of 1024 bits. The default is the public half of the development pair, whose private half everybody has.
set(NEXLET_ENVELOPE_KEY ${CMAKE_SOURCE_DIR}/tests/data/development_envelope_public.pem CACHE FILEPATH
    "PEM file with the public key that envelopes are made for (RSA, 1024 bits)")
include(read_envelope_key)

# nexlet_key_bytes(HEX OUT): the 128 bytes of a big-endian number as the inside of an initialiser.
function(nexlet_key_bytes hex out)
  string(LENGTH "${hex}" digits)
  math(EXPR missing "256 - ${digits}")
  string(REPEAT "0" ${missing} zeros)
  string(REGEX REPLACE "(..)" "0x\\1, " bytes "${zeros}${hex}")
  set(${out} "${bytes}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key)
nexlet_read_envelope_key(${NEXLET_ENVELOPE_KEY} ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key/public_key.der
                         envelope_modulus envelope_exponent)
nexlet_key_bytes(${envelope_modulus} NEXLET_SETTING_ENVELOPE_MODULUS)
nexlet_key_bytes(${envelope_exponent} NEXLET_SETTING_ENVELOPE_EXPONENT)
configure_file(${CMAKE_SOURCE_DIR}/cmake/envelope_key.h.in
               ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key/envelope_key.h @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${NEXLET_ENVELOPE_KEY})

add_library(nexlet_envelope_key INTERFACE)
target_include_directories(nexlet_envelope_key INTERFACE ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key)
