# Run by CTest: install, then build and run the consumer both ways.
function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGV}")
    endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# find_package(Tarvex)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

# pkg-config
file(GLOB pcdir ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "${pcdir}")
execute_process(COMMAND pkg-config --cflags --libs tarvex OUTPUT_VARIABLE flags
                OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know tarvex")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} ${SOURCE_DIR}/main.cpp ${flags} -o ${WORK_DIR}/consumer-pc)
file(GLOB libdir LIST_DIRECTORIES true ${prefix}/lib*)
set(ENV{LD_LIBRARY_PATH} "${prefix}/lib:${libdir}")
run(${WORK_DIR}/consumer-pc)
