# Installs the build, builds the documents' example against the installed files alone and starts it.
# Run with -D BUILD, SOURCE, TOOLCHAIN, EMULATOR.
set(work ${BUILD}/check_package)
set(prefix ${work}/installed)
file(REMOVE_RECURSE ${work})

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGV}: ${result}\n${output}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
run(${CMAKE_COMMAND} -G Ninja -S ${SOURCE}/tests/frame/package -B ${work}/host
    -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -D Quorvel_DIR=${prefix}/lib/cmake/Quorvel
    -D PREFIX=${prefix} -D EXAMPLES=${SOURCE}/docs/examples)
run(${CMAKE_COMMAND} --build ${work}/host)
foreach(program with_package.exe with_lib.exe)
    file(COPY ${work}/host/${program} DESTINATION ${prefix}/bin)
    # Without arguments it says how it is used: it was loaded with the library beside it.
    execute_process(COMMAND ${EMULATOR} ${prefix}/bin/${program} RESULT_VARIABLE result ERROR_VARIABLE output)
    if(NOT result EQUAL 2 OR NOT output MATCHES "usage: duplicates")
        message(FATAL_ERROR "${program} gave ${result}: ${output}")
    endif()
endforeach()
