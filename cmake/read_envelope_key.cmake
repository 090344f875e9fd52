find_program(NEXLET_OPENSSL openssl REQUIRED)

# nexlet_read_envelope_key(PATH SCRATCH MODULUS EXPONENT): reads an RSA public key of 1024 bits from the PEM file PATH and
# gives both numbers in hexadecimal. Any other file ends the run with a word about it. SCRATCH is a file it may write.
function(nexlet_read_envelope_key path pkcs1 modulus_out exponent_out)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "NEXLET_ENVELOPE_KEY names ${path}, which does not exist.")
  endif()
  # A file holds the key in either of two forms, PUBLIC KEY or RSA PUBLIC KEY. OpenSSL 3.5 would also take the public half
  # out of a private key, which nobody means to give to a build.
  set(complaint "")
  set(failed 1)
  file(STRINGS ${path} form REGEX "^-----BEGIN (RSA )?PUBLIC KEY-----" LIMIT_COUNT 1)
  if(form)
    set(form -pubin)
    if(form MATCHES "RSA")
      set(form -RSAPublicKey_in)
    endif()
    execute_process(COMMAND ${NEXLET_OPENSSL} rsa ${form} -in ${path} -RSAPublicKey_out -outform DER -out ${pkcs1}
                    RESULT_VARIABLE failed OUTPUT_QUIET ERROR_VARIABLE complaint)
  endif()
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
