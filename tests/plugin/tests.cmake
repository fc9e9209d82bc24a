# The sample plug-in sees only the folder of the interface header, so it
# compiles exactly when that header stands alone. The test loads it with
# dlopen; its calls into the library resolve against the library the test
# executable has loaded (exported from the executable in a static build).
add_library(tarvex_sample_plugin MODULE ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/sample/sampleplugin.cc)
target_include_directories(tarvex_sample_plugin PRIVATE ${CMAKE_SOURCE_DIR}/tarvex/plugin)
target_compile_options(tarvex_sample_plugin PRIVATE -Wall -Wextra)
set_target_properties(tarvex_sample_plugin PROPERTIES PREFIX "" CXX_VISIBILITY_PRESET hidden)

add_dependencies(tests_${layer} tarvex_sample_plugin)
target_compile_definitions(tests_${layer}
                           PRIVATE TARVEX_SAMPLE_PLUGIN="$<TARGET_FILE:tarvex_sample_plugin>")
target_link_libraries(tests_${layer} PRIVATE ${CMAKE_DL_LIBS})
set_target_properties(tests_${layer} PROPERTIES ENABLE_EXPORTS ON)
gtest_discover_tests(tests_${layer} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
