# How the sources become objects and tests. Every flag is a target's own: nothing leaks into an enclosing project.

# The warnings that this project is clean under, for a target of this project.
function(asyncwaitset_warnings target)
    set(instrumented OFF)
    if(ASYNCWAITSET_SANITIZE)
        set(instrumented ON)
    endif()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
        # Instrumented code makes g++ 12 warn about the standard library's strings, so it is not where warnings fail.
        $<$<AND:$<BOOL:${ASYNCWAITSET_WERROR}>,$<NOT:$<BOOL:${instrumented}>>>:-Werror>
        # File names in messages do not depend on where the tree lies.
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
    if(ASYNCWAITSET_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${ASYNCWAITSET_SANITIZE} -fno-omit-frame-pointer
            -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${ASYNCWAITSET_SANITIZE})
    endif()
    if(ASYNCWAITSET_THREAD_SAFETY_ANALYSIS)
        target_compile_options(${target} PRIVATE -Wthread-safety -Werror=thread-safety)
    endif()
endfunction()

# The library's objects on one platform: std (the operating system) or sim (the deterministic one for tests).
function(asyncwaitset_objects target platform)
    file(GLOB sources CONFIGURE_DEPENDS
        ${PROJECT_SOURCE_DIR}/srcC/halo_runtime/zyl/*.cpp
        ${PROJECT_SOURCE_DIR}/srcC/halo_runtime/vesk/*.cpp
        ${PROJECT_SOURCE_DIR}/srcC/halo_runtime/dds/*.cpp
        ${PROJECT_SOURCE_DIR}/srcC/halo_utility/*.cpp
        ${PROJECT_SOURCE_DIR}/srcC/halo_runtime/platform/${platform}/*.cpp)
    add_library(${target} OBJECT ${sources})
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/srcC)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${target} PUBLIC Threads::Threads)
    if(platform STREQUAL sim)
        target_compile_definitions(${target} PUBLIC ASYNCWAITSET_SIMULATION)
    endif()
    asyncwaitset_warnings(${target})
endfunction()
