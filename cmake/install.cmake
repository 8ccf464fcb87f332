# cmake --install build/release --prefix DIR: what is shipped. The module with its header, import libraries for both
# kinds of linker and a CMake package; the program and the mailbox.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
find_program(DLLTOOL x86_64-w64-mingw32-dlltool REQUIRED)

target_include_directories(Quorvel INTERFACE $<INSTALL_INTERFACE:include>)
install(TARGETS Quorvel EXPORT QuorvelTargets RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(FILES include/quorvel.h include/quorvel_host.h ${CMAKE_BINARY_DIR}/include/quorvel_version.h DESTINATION include)

add_custom_command(OUTPUT ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/Quorvel.lib
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}
    COMMAND ${DLLTOOL} -m i386:x86-64 -D Quorvel.dll -d ${PROJECT_SOURCE_DIR}/src/frame/quorvel.def
            -l ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/Quorvel.lib
    DEPENDS src/frame/quorvel.def VERBATIM)
add_custom_target(import_library ALL DEPENDS ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/Quorvel.lib)
install(FILES ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/Quorvel.lib src/frame/quorvel.def DESTINATION lib)

install(EXPORT QuorvelTargets NAMESPACE Quorvel:: FILE QuorvelConfig.cmake DESTINATION lib/cmake/Quorvel)
write_basic_package_version_file(QuorvelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QuorvelConfigVersion.cmake DESTINATION lib/cmake/Quorvel)

install(TARGETS quorvel qvmailbox RUNTIME DESTINATION bin)
install(DIRECTORY host/definitions DESTINATION bin)
install(FILES LICENSE README.md CHANGES.md DESTINATION .)
install(DIRECTORY docs DESTINATION .)
