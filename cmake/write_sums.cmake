# Part of the installation: SHA256SUMS of the files that it put in place, for sha256sum --check.
set(sums "")
foreach(file ${CMAKE_INSTALL_MANIFEST_FILES})
    file(SHA256 ${file} sum)
    cmake_path(RELATIVE_PATH file BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    list(APPEND sums "${sum}  ${file}\n")
endforeach()
list(JOIN sums "" sums)
file(WRITE ${CMAKE_INSTALL_PREFIX}/SHA256SUMS "${sums}")
