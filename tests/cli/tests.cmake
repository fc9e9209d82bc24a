file(GLOB cli_test_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/cli/*.cpp)
add_executable(tests_cli ${cli_test_sources})
target_link_libraries(tests_cli PRIVATE tarvex_cli_core GTest::gtest GTest::gmock GTest::gtest_main)
target_compile_options(tests_cli PRIVATE -Wall -Wextra)
target_include_directories(tests_cli PRIVATE ${CMAKE_SOURCE_DIR})
find_program(TARVEX_DOT_PROGRAM dot)
target_compile_definitions(tests_cli PRIVATE
    TARVEX_CLI_PROGRAM="$<TARGET_FILE:tarvex_cli>"
    TARVEX_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
    TARVEX_DOT_PROGRAM="${TARVEX_DOT_PROGRAM}")
add_dependencies(tests_cli tarvex_cli)
gtest_discover_tests(tests_cli DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)

# The README's C++ example, exactly as the README shows it (a test in
# tests_cli holds the two equal).
add_executable(readme_example ${CMAKE_SOURCE_DIR}/examples/readme_example.cpp)
target_link_libraries(readme_example PRIVATE tarvex)
target_compile_options(readme_example PRIVATE -Wall -Wextra)
add_test(NAME readme_example COMMAND readme_example ${CMAKE_SOURCE_DIR}/examples/station.xml
                                     ${CMAKE_CURRENT_BINARY_DIR}/readme_example.xml)
set_tests_properties(readme_example PROPERTIES PASS_REGULAR_EXPRESSION
                     "^Масса = 3013.75\nНасос_Н-1: 1.6 МПа\n$")
