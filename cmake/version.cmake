# The version of everything is the project's own, in the CMakeLists.txt at the root: the header that hosts see, the resources
# of what is shipped, `quorvel --version` and the package take it from there.
enable_language(RC)
file(STRINGS CHANGES.md versions REGEX "^## ")
list(GET versions 0 newest)
if(NOT newest STREQUAL "## ${PROJECT_VERSION}")
    message(FATAL_ERROR "CHANGES.md begins with \"${newest}\", the project is ${PROJECT_VERSION}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/quorvel_version.h.in ${CMAKE_BINARY_DIR}/include/quorvel_version.h)
target_include_directories(quorvel_flags INTERFACE ${CMAKE_BINARY_DIR}/include)

# quorvel_version_resource(TARGET DESCRIPTION)
#   Gives a module or program the resource that file managers and installers read.
function(quorvel_version_resource target description)
    set(resource ${CMAKE_BINARY_DIR}/version/${target}.rc)
    set(QUORVEL_FILE $<TARGET_FILE_NAME:${target}>)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        set(QUORVEL_FILE_TYPE 1)  # VFT_APP
    else()
        set(QUORVEL_FILE_TYPE 2)  # VFT_DLL
    endif()
    set(QUORVEL_FILE_DESCRIPTION ${description})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource}.in @ONLY)
    file(GENERATE OUTPUT ${resource} INPUT ${resource}.in)
    # Apart from the target: the compilers' flags mean nothing to the compiler of resources.
    add_library(${target}_version OBJECT ${resource})
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_version>)
endfunction()
