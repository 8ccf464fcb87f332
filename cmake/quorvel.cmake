# quorvel_part(NAME SOURCES file... DEPENDS target...)
#   A folder below src/ as one static library that sees nothing but the targets it may use.
function(quorvel_part name)
    cmake_parse_arguments(PART "" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(${name} STATIC ${PART_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_compile_definitions(${name} PUBLIC QUORVEL_STATIC)
    target_link_libraries(${name} PUBLIC ${PART_DEPENDS} PRIVATE quorvel_flags)
endfunction()
