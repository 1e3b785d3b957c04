# The test around tsa_client.c: an authority made with openssl answers the client's request with
# `openssl ts -reply`, and the client checks the answer.
#   cmake -DCLIENT_FILE=<tsa_client> -DWORK=<folder> [-DEMULATOR=<wine-run>]
#         [-DOBJDUMP=<objdump> -DALLOWED_IMPORTS=<dll,...>] -P ask_openssl_authority.cmake
# With OBJDUMP, the client may import nothing but the DLLs listed.
cmake_minimum_required(VERSION 3.20)
foreach(variable CLIENT_FILE WORK)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "${variable} is not set")
  endif()
endforeach()
set(CLIENT ${EMULATOR} ${CLIENT_FILE})
string(REPLACE "," ";" ALLOWED_IMPORTS "${ALLOWED_IMPORTS}")

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK} TIMEOUT 120
                  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  message("${output}${errors}")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
file(WRITE ${WORK}/tsa.cnf "[tsa]\nserial = serial.txt\ncrypto_device = builtin\n"
     "signer_digest = sha256\ndefault_policy = 1.3.6.1.4.1.99999.7.1\ndigests = sha256\n"
     "accuracy = secs:1\nclock_precision_digits = 3\nordering = no\ntsa_name = yes\ness_cert_id_alg = sha256\n")
file(WRITE ${WORK}/serial.txt "2A\n")  # openssl counts on: the token has 2B
file(WRITE ${WORK}/data.txt "a file to be stamped\n")

run(openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/O=Example Time/CN=Example TSA"
    -addext "extendedKeyUsage=critical,timeStamping" -keyout tsa.key -out tsa.pem)
run(openssl x509 -in tsa.pem -outform DER -out tsa.der)
run(openssl dgst -sha256 -r data.txt)
string(SUBSTRING "${output}" 0 64 digest)

run(${CLIENT} request ${digest} request.tsq)
run(openssl ts -reply -config tsa.cnf -section tsa -queryfile request.tsq -signer tsa.pem
    -inkey tsa.key -out response.tsr)
run(${CLIENT} check request.tsq response.tsr tsa.der)
foreach(expected "verified: token for the request" "policy: 1.3.6.1.4.1.99999.7.1"
                 "tsa: CN=Example TSA,O=Example Time" "serial: 2b")
  string(FIND "${output}" "${expected}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "the client did not print \"${expected}\"")
  endif()
endforeach()

# A response for another request is refused.
run(openssl ts -query -data tsa.cnf -sha256 -cert -out other.tsq)
run(openssl ts -reply -config tsa.cnf -section tsa -queryfile other.tsq -signer tsa.pem
    -inkey tsa.key -out other.tsr)
execute_process(COMMAND ${CLIENT} check request.tsq other.tsr tsa.der WORKING_DIRECTORY ${WORK}
                TIMEOUT 120 RESULT_VARIABLE status ERROR_VARIABLE errors)
if(status EQUAL 0 OR NOT errors MATCHES "another hash")
  message(FATAL_ERROR "a token for another request was taken (${status}): ${errors}")
endif()

if(DEFINED OBJDUMP)
  run(${OBJDUMP} -p ${CLIENT_FILE})
  string(REGEX MATCHALL "DLL Name: [^\n]+" imports "${output}")
  foreach(import ${imports})
    string(REPLACE "DLL Name: " "" dll "${import}")
    string(TOLOWER "${dll}" dll)
    if(NOT dll IN_LIST ALLOWED_IMPORTS)
      message(FATAL_ERROR "the C client imports ${dll}")
    endif()
  endforeach()
endif()
