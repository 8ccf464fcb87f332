# Flags that every target of this project shares. Warnings are errors.
find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# The release build is what is shipped.
set(CMAKE_C_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
# The debug build traps on undefined behaviour, its heap ends every block at a guard page, and it counts the lines that run
# (cmake/coverage).
set(CMAKE_C_FLAGS_DEBUG "-Og -g1 --coverage -fsanitize=undefined -fsanitize-undefined-trap-on-error")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g1 --coverage -D_GLIBCXX_ASSERTIONS -fsanitize=undefined -fsanitize-undefined-trap-on-error")

add_library(quorvel_flags INTERFACE)
target_compile_options(quorvel_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
target_compile_definitions(quorvel_flags INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00
    # The C runtime's own printf family: its wide %s takes wide text, as the log's formats expect.
    __USE_MINGW_ANSI_STDIO=0)
target_link_options(quorvel_flags INTERFACE -static)

# Every module and every program of the debug build has the guard-page heap; the heap cannot check itself.
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    add_library(guard_heap OBJECT tests/support/guard_heap.cpp)
    target_compile_options(guard_heap PRIVATE -O2 -fno-sanitize=undefined -fno-profile-arcs -fno-test-coverage -Wall -Wextra -Wpedantic -Werror)
    target_compile_definitions(guard_heap PRIVATE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
    set(is_module $<IN_LIST:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY$<SEMICOLON>MODULE_LIBRARY$<SEMICOLON>EXECUTABLE>)
    target_sources(quorvel_flags INTERFACE $<${is_module}:$<TARGET_OBJECTS:guard_heap>>)
endif()
