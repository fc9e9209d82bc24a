# muparser is the formula benchmark's peer; the library never links it.
find_package(PkgConfig REQUIRED)
pkg_check_modules(MUPARSER REQUIRED IMPORTED_TARGET muparser)
target_link_libraries(bench_formula PRIVATE PkgConfig::MUPARSER)
