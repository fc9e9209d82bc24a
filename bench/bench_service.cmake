# The benchmark serves files from the tests' loopback server and runs the
# curl command beside the client.
find_package(OpenSSL REQUIRED)
target_sources(bench_service PRIVATE ${CMAKE_SOURCE_DIR}/tests/service/testserver.cpp)
target_include_directories(bench_service PRIVATE ${CMAKE_SOURCE_DIR})
target_link_libraries(bench_service PRIVATE OpenSSL::SSL OpenSSL::Crypto)
