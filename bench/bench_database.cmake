# The plain ODBC loops the library is measured against call unixODBC directly,
# and the benchmark starts its PostgreSQL server with the tests' script.
find_package(ODBC REQUIRED)
target_link_libraries(${name} PRIVATE ODBC::ODBC)
target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${ODBC_INCLUDE_DIRS})
target_compile_definitions(${name} PRIVATE
    TARVEX_PG_SCRIPTS="${CMAKE_SOURCE_DIR}/tests/database"
    TARVEX_SQLITE_ODBC="/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so"
    TARVEX_PG_ODBC="/usr/lib/x86_64-linux-gnu/odbc/psqlodbcw.so")
