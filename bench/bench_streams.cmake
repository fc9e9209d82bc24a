# pugixml and RapidJSON are peers for comparison only, never linked into the library.
find_package(pugixml REQUIRED)
target_link_libraries(bench_streams PRIVATE pugixml::pugixml)
