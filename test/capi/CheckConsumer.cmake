# Runs the program of a project that takes the library in, after a look at what was built: WANTED and not UNWANTED.
# usage: cmake -DFOLDER=... -DPROGRAM=NAME -DWANTED=FILE -DUNWANTED=FILE -P CheckConsumer.cmake
cmake_minimum_required(VERSION 3.25)
if(NOT EXISTS ${FOLDER}/asyncwaitset/${WANTED})
    message(FATAL_ERROR "${WANTED} was not built")
endif()
if(EXISTS ${FOLDER}/asyncwaitset/${UNWANTED})
    message(FATAL_ERROR "${UNWANTED} was built, which nobody links")
endif()
execute_process(COMMAND ${FOLDER}/${PROGRAM} COMMAND_ERROR_IS_FATAL ANY)
