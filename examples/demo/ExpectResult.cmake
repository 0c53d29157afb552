# Run COMMAND; fail unless it ends with EXPECTED_RESULT and says something that matches EXPECTED_ERROR on standard error.
execute_process(COMMAND ${COMMAND} RESULT_VARIABLE result ERROR_VARIABLE error)
if(NOT result STREQUAL EXPECTED_RESULT OR NOT error MATCHES "${EXPECTED_ERROR}")
    message(FATAL_ERROR "result ${result}, error output: ${error}")
endif()
