# Turns the public key of the envelope, a PEM file, into envelope_key.h in the build folder, and refuses a key that is
# not RSA of 1024 bits. The default is the public half of the development pair, whose private half everybody has.
set(NEXLET_ENVELOPE_KEY ${CMAKE_SOURCE_DIR}/tests/data/development_envelope_public.pem CACHE FILEPATH
    "PEM file with the public key that envelopes are made for (RSA, 1024 bits)")
find_program(NEXLET_OPENSSL openssl REQUIRED)

function(nexlet_read_envelope_key path modulus_out exponent_out)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "NEXLET_ENVELOPE_KEY names ${path}, which does not exist.")
  endif()
  set(pkcs1 ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key/public_key.der)
  set(complaint "")
  # A file holds the key in either of two forms, PUBLIC KEY or RSA PUBLIC KEY.
  foreach(form -pubin -RSAPublicKey_in)
    execute_process(COMMAND ${NEXLET_OPENSSL} rsa ${form} -in ${path} -RSAPublicKey_out -outform DER -out ${pkcs1}
                    RESULT_VARIABLE failed OUTPUT_QUIET ERROR_VARIABLE complaint)
    if(failed EQUAL 0)
      break()
    endif()
  endforeach()
  if(NOT failed EQUAL 0)
    message(FATAL_ERROR "NEXLET_ENVELOPE_KEY: ${path} is not a PEM file with an RSA public key.\n${complaint}")
  endif()
  execute_process(COMMAND ${NEXLET_OPENSSL} asn1parse -inform DER -in ${pkcs1}
                  OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "INTEGER +:[0-9A-F]+" integers "${listing}")
  list(TRANSFORM integers REPLACE "INTEGER +:" "")
  list(GET integers 0 modulus)
  list(GET integers 1 exponent)
  string(LENGTH "${modulus}" digits)
  if(NOT modulus MATCHES "^[89A-F]" OR NOT digits EQUAL 256)
    math(EXPR bits "${digits} * 4")
    message(FATAL_ERROR "NEXLET_ENVELOPE_KEY: the key in ${path} has about ${bits} bits; the envelope takes 1024.")
  endif()
  set(${modulus_out} ${modulus} PARENT_SCOPE)
  set(${exponent_out} ${exponent} PARENT_SCOPE)
endfunction()

# nexlet_bytes(HEX OUT): the 128 bytes of a big-endian number as the inside of an initialiser.
function(nexlet_key_bytes hex out)
  string(LENGTH "${hex}" digits)
  math(EXPR missing "256 - ${digits}")
  string(REPEAT "0" ${missing} zeros)
  string(REGEX REPLACE "(..)" "0x\\1, " bytes "${zeros}${hex}")
  set(${out} "${bytes}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key)
nexlet_read_envelope_key(${NEXLET_ENVELOPE_KEY} envelope_modulus envelope_exponent)
nexlet_key_bytes(${envelope_modulus} NEXLET_SETTING_ENVELOPE_MODULUS)
nexlet_key_bytes(${envelope_exponent} NEXLET_SETTING_ENVELOPE_EXPONENT)
configure_file(${CMAKE_SOURCE_DIR}/cmake/envelope_key.h.in
               ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key/envelope_key.h @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${NEXLET_ENVELOPE_KEY})

add_library(nexlet_envelope_key INTERFACE)
target_include_directories(nexlet_envelope_key INTERFACE ${CMAKE_BINARY_DIR}/settings/nexlet_envelope_key)
