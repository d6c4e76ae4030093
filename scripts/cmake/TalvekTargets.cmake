# How every target of the project is compiled, and how a missing package is met.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()
find_package(Threads REQUIRED)

# Include paths start at the top folder, so that a header says where it lives: "engine/Repair.h".
function(talvek_target target)
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion
        -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)
    # Without it a fuzzer sees what its own source does, and nothing of what it calls.
    if(TALVEK_FUZZ)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
    if(TALVEK_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${TALVEK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${TALVEK_SANITIZE})
    endif()
endfunction()

# Says in one line what is left out for want of a package, or stops where it is required.
function(talvek_missing what package required)
    if(required)
        message(FATAL_ERROR "${what} cannot be built: ${package} was not found.")
    endif()
    message(STATUS "${what} left out: ${package} was not found.")
endfunction()
