# The sets and the grid labels cast doubles: the sanitizer run traps any
# conversion that overflows.
if(TARVEX_SANITIZE)
    target_compile_options(tests_${layer} PRIVATE -fsanitize=float-cast-overflow
                                                     -fno-sanitize-recover=float-cast-overflow)
    target_link_options(tests_${layer} PRIVATE -fsanitize=float-cast-overflow
                                                     -fno-sanitize-recover=float-cast-overflow)
endif()
gtest_discover_tests(tests_${layer} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
