# cmake -DRUN="EMULATOR;NEXCTL" -DDATA=... -DFOLDER=... -P decrypt_verb_test.cmake: nexctl opens what OpenSSL sealed.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
file(COPY ${DATA}/development_envelope_private.pem ${DATA}/development_envelope_public.pem DESTINATION ${FOLDER})
file(WRITE ${FOLDER}/text "what only the holder of the key can read")
execute_process(COMMAND openssl pkeyutl -encrypt -pubin -inkey development_envelope_public.pem -in text -out block
                WORKING_DIRECTORY ${FOLDER} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND openssl base64 -A -in block -out envelope WORKING_DIRECTORY ${FOLDER} COMMAND_ERROR_IS_FATAL ANY)

function(expect key envelope code text)
  execute_process(COMMAND ${RUN} decrypt ${key} ${envelope} WORKING_DIRECTORY ${FOLDER}
                  RESULT_VARIABLE got OUTPUT_VARIABLE output ERROR_VARIABLE error)
  string(FIND "${output}${error}" "${text}" at)
  if(NOT got EQUAL code OR at EQUAL -1)
    message(SEND_ERROR "decrypt ${key} ${envelope}: code ${got}, ${output}${error}; expected ${code} with \"${text}\"")
  endif()
endfunction()
expect(@development_envelope_private.pem @envelope 0 "what only the holder of the key can read\n")
expect(@development_envelope_private.pem @text 5 "Block 1 of the envelope is damaged")
expect(@development_envelope_public.pem @envelope 5 "The key is not")
expect(@missing.pem @envelope 1 "missing.pem cannot be read")
file(REMOVE_RECURSE ${FOLDER})
