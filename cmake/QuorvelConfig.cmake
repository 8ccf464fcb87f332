# find_package(Quorvel): the imported target Quorvel::Quorvel, with the import library that the linker in use takes.
if(NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(Quorvel_FOUND FALSE)
    set(Quorvel_NOT_FOUND_MESSAGE "Quorvel is for 64-bit Windows")
    return()
endif()
if(TARGET Quorvel::Quorvel)
    return()
endif()
get_filename_component(quorvel_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
if(MSVC OR "${CMAKE_C_SIMULATE_ID}${CMAKE_CXX_SIMULATE_ID}" MATCHES "MSVC")
    set(quorvel_import_library "${quorvel_prefix}/lib/Quorvel.lib")
else()
    set(quorvel_import_library "${quorvel_prefix}/lib/libQuorvel.dll.a")
endif()
add_library(Quorvel::Quorvel SHARED IMPORTED)
set_target_properties(Quorvel::Quorvel PROPERTIES
    IMPORTED_LOCATION "${quorvel_prefix}/bin/Quorvel.dll"
    IMPORTED_IMPLIB "${quorvel_import_library}"
    INTERFACE_INCLUDE_DIRECTORIES "${quorvel_prefix}/include")
unset(quorvel_prefix)
unset(quorvel_import_library)
