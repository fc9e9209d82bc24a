# zlib's own one-shot calls are the peer of the raw deflate benchmarks.
target_link_libraries(bench_zip PRIVATE z)
