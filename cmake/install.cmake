# cmake --install gives one folder with everything that a user or a maker of hosts needs.
include(CMakePackageConfigHelpers)

install(TARGETS Quorvel RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(TARGETS qvmailbox quorvel RUNTIME DESTINATION bin)
install(DIRECTORY host/definitions DESTINATION bin)
install(FILES include/quorvel.h DESTINATION include)
install(FILES src/frame/quorvel.def DESTINATION lib)
install(DIRECTORY docs/ DESTINATION share/doc/quorvel)
install(FILES README.md LICENSE DESTINATION share/doc/quorvel)

# The import library for Microsoft's linker, from the .def; MinGW's comes with the module.
find_program(DLLTOOL x86_64-w64-mingw32-dlltool REQUIRED)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/lib/Quorvel.lib
    COMMAND ${DLLTOOL} --machine i386:x86-64 --dllname Quorvel.dll
            --input-def ${CMAKE_SOURCE_DIR}/src/frame/quorvel.def --output-lib ${CMAKE_BINARY_DIR}/lib/Quorvel.lib
    DEPENDS ${CMAKE_SOURCE_DIR}/src/frame/quorvel.def VERBATIM)
add_custom_target(msvc_import_library ALL DEPENDS ${CMAKE_BINARY_DIR}/lib/Quorvel.lib)
install(FILES ${CMAKE_BINARY_DIR}/lib/Quorvel.lib DESTINATION lib)

configure_package_config_file(cmake/QuorvelConfig.cmake.in ${CMAKE_BINARY_DIR}/QuorvelConfig.cmake
    INSTALL_DESTINATION lib/cmake/Quorvel)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/QuorvelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/QuorvelConfig.cmake ${CMAKE_BINARY_DIR}/QuorvelConfigVersion.cmake
    DESTINATION lib/cmake/Quorvel)
