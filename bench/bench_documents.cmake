# pugixml is a peer for comparison only, never linked into the library.
find_package(pugixml REQUIRED)
target_link_libraries(bench_documents PRIVATE pugixml::pugixml)
