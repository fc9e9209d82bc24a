# The service tests run a local HTTP(S) server: it needs OpenSSL, and no
# proxy from the environment may stand between it and the client.
find_package(OpenSSL REQUIRED)
target_link_libraries(tests_${layer} PRIVATE OpenSSL::SSL OpenSSL::Crypto)
gtest_discover_tests(tests_${layer} DISCOVERY_TIMEOUT 60
                     PROPERTIES TIMEOUT 120 ENVIRONMENT "no_proxy=*;NO_PROXY=*")
