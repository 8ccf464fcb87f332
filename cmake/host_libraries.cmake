# Header-only libraries of the build machine, for the program and the mailbox: never for the library itself.
# Only their own folders are linked into the build tree: the rest of /usr/include is another platform's.
#   headers_CLI       CLI11, arguments
#   headers_nlohmann  nlohmann-json, files
foreach(library CLI nlohmann)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers/${library})
    file(CREATE_LINK /usr/include/${library} ${CMAKE_BINARY_DIR}/headers/${library}/${library} SYMBOLIC)
    add_library(headers_${library} INTERFACE)
    target_include_directories(headers_${library} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers/${library})
endforeach()
