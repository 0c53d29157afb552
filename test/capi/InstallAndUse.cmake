# Installs the build into a prefix, and there builds and runs programs with nothing but a compiler.
# usage: cmake -DBUILD=... -DPREFIX=... -DLIBRARIES=FOLDER_OF_THE_LIBRARIES -DVERSION=... -DHEADERS=SOURCE_OF_THE_HEADERS
#     -DC_COMPILER=... -DCXX_COMPILER=... -DRUNTIME=LIBRARIES_OF_C++ -DPROGRAM=README.c -DSEQUENCES=FOLDER
#     -P InstallAndUse.cmake
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

# Every public header, and nothing else of ours.
file(GLOB_RECURSE wanted RELATIVE ${HEADERS} ${HEADERS}/*)
file(GLOB_RECURSE installed RELATIVE ${PREFIX}/include ${PREFIX}/include/*)
if(NOT wanted OR NOT "${installed}" STREQUAL "${wanted}")
    message(FATAL_ERROR "these headers were installed: ${installed}")
endif()

# Both libraries; the shared one behind the links that the linker and the loader follow.
set(folder ${PREFIX}/${LIBRARIES})
file(GLOB installed RELATIVE ${folder} ${folder}/*)
string(REGEX MATCH "^[0-9]+" major ${VERSION})
set(shared libasyncwaitset.so)
if(NOT "${installed}" STREQUAL "libasyncwaitset.a;${shared};${shared}.${major};${shared}.${VERSION}")
    message(FATAL_ERROR "these libraries were installed: ${installed}")
endif()
file(READ_SYMLINK ${folder}/${shared} link)
file(READ_SYMLINK ${folder}/${shared}.${major} soname)
if(NOT "${link} ${soname}" STREQUAL "${shared}.${major} ${shared}.${VERSION}")
    message(FATAL_ERROR "the links of the shared library lead to ${link} and ${soname}")
endif()

# Build with the compiler, run, and look whether the loader was asked for the shared library.
function(build_and_run kind)
    set(program ${PREFIX}/program)
    execute_process(COMMAND ${ARGN} -o ${program} COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${folder} ${program} COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND objdump -p ${program} OUTPUT_VARIABLE needed COMMAND_ERROR_IS_FATAL ANY)
    string(FIND "${needed}" "${shared}.${major}" position)
    if((kind STREQUAL "shared") EQUAL (position EQUAL -1))
        message(FATAL_ERROR "the program was not linked with the ${kind} library")
    endif()
endfunction()
list(TRANSFORM RUNTIME PREPEND -l)
set(static -Wl,-Bstatic -lasyncwaitset -Wl,-Bdynamic)
set(found -I${PREFIX}/include -L${folder})
build_and_run(shared ${C_COMPILER} ${found} ${PROGRAM} -lasyncwaitset)
build_and_run(static ${C_COMPILER} ${found} ${PROGRAM} ${static} ${RUNTIME} -pthread)

# A program with sequences of its own types, in C++ and C.
execute_process(COMMAND ${C_COMPILER} -std=c11 ${found} -c ${SEQUENCES}/PointUse.c -o ${PREFIX}/PointUse.o
    COMMAND_ERROR_IS_FATAL ANY)
set(sources ${SEQUENCES}/OwnSequences.cpp ${PREFIX}/PointUse.o)
build_and_run(shared ${CXX_COMPILER} -std=c++17 ${found} ${sources} -lasyncwaitset)
build_and_run(static ${CXX_COMPILER} -std=c++17 ${found} ${sources} ${static} -pthread)
