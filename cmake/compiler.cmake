# Flags that every target of this project shares. Warnings are errors.
find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# The release build is what is shipped.
set(CMAKE_C_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
# The debug build traps on undefined behaviour; its heap ends every block at a guard page (src/frame/guard_heap.cpp).
set(CMAKE_C_FLAGS_DEBUG "-Og -g1 -fsanitize=undefined -fsanitize-undefined-trap-on-error")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g1 -fsanitize=undefined -fsanitize-undefined-trap-on-error")
set(CMAKE_C_FLAGS_COVERAGE "-Og -g1 --coverage")
set(CMAKE_CXX_FLAGS_COVERAGE "-Og -g1 --coverage")

add_library(quorvel_flags INTERFACE)
target_compile_options(quorvel_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
target_compile_definitions(quorvel_flags INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00
    # The C runtime's own printf family: its wide %s takes wide text, as the log's formats expect.
    __USE_MINGW_ANSI_STDIO=0)
target_link_options(quorvel_flags INTERFACE -static)
