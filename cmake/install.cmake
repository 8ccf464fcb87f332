# cmake --install build/release --prefix DIR: the kit. The module with its headers and import libraries for both kinds of
# linker, packages for CMake and pkg-config, the program, the mailbox in a file with a sample, examples and documents.
include(CMakePackageConfigHelpers)
find_program(LLVM_DLLTOOL llvm-dlltool)
set(kit ${CMAKE_BINARY_DIR}/kit)

# For Microsoft's linker, which wants the import descriptors that only this tool writes.
set(import_library ${kit}/Quorvel.lib)
add_custom_command(OUTPUT ${import_library}
    COMMAND ${LLVM_DLLTOOL} -m i386:x86-64 -D Quorvel.dll -d ${PROJECT_SOURCE_DIR}/src/frame/quorvel.def -l ${import_library}
    DEPENDS src/frame/quorvel.def VERBATIM)

file(GLOB_RECURSE importer CONFIGURE_DEPENDS mailbox/importer/*.py)
file(GLOB_RECURSE samples CONFIGURE_DEPENDS samples/*)
add_custom_command(OUTPUT ${kit}/mailbox.json
    COMMAND ${CMAKE_COMMAND} -E env TZ=UTC /usr/bin/python3 ${PROJECT_SOURCE_DIR}/mailbox/import
            --output ${kit}/mailbox.json ${PROJECT_SOURCE_DIR}/samples 2> ${kit}/import.txt
    DEPENDS mailbox/import ${importer} ${samples} VERBATIM)

# Outside the tree the README ends where it comes to the sources.
file(READ README.md readme)
string(FIND "${readme}" "\n## From the sources" end)
string(SUBSTRING "${readme}" 0 ${end} readme)
file(WRITE ${kit}/README.md "${readme}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS README.md)

configure_file(cmake/quorvel.pc.in ${kit}/quorvel.pc @ONLY)
write_basic_package_version_file(${kit}/QuorvelConfigVersion.cmake COMPATIBILITY SameMajorVersion)

# An installation builds what the build before it left out.
add_custom_target(shipped DEPENDS ${import_library} ${kit}/mailbox.json)
add_dependencies(shipped Quorvel quorvel qvmailbox)
install(CODE "execute_process(COMMAND \"${CMAKE_COMMAND}\" --build \"${CMAKE_BINARY_DIR}\" --target shipped
    COMMAND_ERROR_IS_FATAL ANY)")

install(TARGETS Quorvel RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(TARGETS quorvel qvmailbox RUNTIME DESTINATION bin)
install(DIRECTORY host/definitions DESTINATION bin)
install(FILES include/quorvel.h include/quorvel_host.h ${CMAKE_BINARY_DIR}/include/quorvel_version.h DESTINATION include)
install(FILES ${import_library} src/frame/quorvel.def DESTINATION lib)
install(FILES cmake/QuorvelConfig.cmake ${kit}/QuorvelConfigVersion.cmake DESTINATION lib/cmake/Quorvel)
install(FILES ${kit}/quorvel.pc DESTINATION lib/pkgconfig)
install(DIRECTORY examples DESTINATION .)
install(FILES docs/hosts.md docs/using.md docs/import.md docs/mailbox-format.md DESTINATION docs)
install(DIRECTORY docs/schemas DESTINATION docs)
install(FILES ${kit}/mailbox.json DESTINATION samples)
install(PROGRAMS mailbox/import mailbox/clean DESTINATION mailbox)
install(DIRECTORY mailbox/importer mailbox/cleaner DESTINATION mailbox FILES_MATCHING PATTERN *.py PATTERN __pycache__ EXCLUDE)
install(DIRECTORY bindings DESTINATION .)
install(FILES LICENSE CHANGES.md ${kit}/README.md DESTINATION .)
# Last: the sums of all that was installed.
install(SCRIPT cmake/write_sums.cmake)

# cmake --build build/release --target package: quorvel-VERSION-x64.zip and .msi in build/release/package.
set(package ${CMAKE_BINARY_DIR}/package)
set(archive ${package}/quorvel-${PROJECT_VERSION}-x64)
add_custom_target(package
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${package}
    COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --prefix ${package}/quorvel
    COMMAND ${CMAKE_COMMAND} -E chdir ${package} ${CMAKE_COMMAND} -E tar cf ${archive}.zip --format=zip quorvel
    COMMAND /usr/bin/python3 ${PROJECT_SOURCE_DIR}/cmake/installer.py ${package}/quorvel ${PROJECT_VERSION} ${archive}.msi
    VERBATIM)
