# The database tests run on real drivers: SQLite through its ODBC driver on a
# file in a temporary folder, and PostgreSQL 15 through psqlODBC on a server
# that a fixture starts once per run on 127.0.0.1 and stops at the end, also
# when tests fail. The drivers are registered in an odbcinst.ini of the build
# folder (ODBCSYSINI), never in the system's.

set(odbc_drivers /usr/lib/x86_64-linux-gnu/odbc)
find_file(TARVEX_SQLITE_ODBC libsqlite3odbc.so PATHS ${odbc_drivers} /usr/lib/odbc NO_DEFAULT_PATH)
find_file(TARVEX_PG_ODBC psqlodbcw.so PATHS ${odbc_drivers} /usr/lib/odbc NO_DEFAULT_PATH)
if(NOT TARVEX_SQLITE_ODBC OR NOT TARVEX_PG_ODBC)
    message(FATAL_ERROR "The database tests need libsqliteodbc and odbc-postgresql (scripts/install-deps.sh)")
endif()

# One folder holds the driver registry and the server's address; the test
# program points unixODBC at it itself (see dbtest.cpp).
set(db_dir ${CMAKE_CURRENT_BINARY_DIR}/database-test)
# DontDLClose keeps the drivers loaded, so sanitizer reports can name their frames.
file(WRITE ${db_dir}/odbcinst.ini
"[SQLite3]
Driver=${TARVEX_SQLITE_ODBC}
DontDLClose=1

[PostgreSQL Unicode]
Driver=${TARVEX_PG_ODBC}
DontDLClose=1
")
file(WRITE ${db_dir}/odbc.ini "")

add_test(NAME database_pg_start COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/pg_start.sh ${db_dir})
add_test(NAME database_pg_stop COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/pg_stop.sh ${db_dir})
set_tests_properties(database_pg_start PROPERTIES FIXTURES_SETUP database_pg TIMEOUT 120)
set_tests_properties(database_pg_stop PROPERTIES FIXTURES_CLEANUP database_pg TIMEOUT 60)

gtest_discover_tests(tests_${layer} DISCOVERY_TIMEOUT 60
                     PROPERTIES TIMEOUT 120 FIXTURES_REQUIRED database_pg
                                ENVIRONMENT "TARVEX_DB_TEST_DIR=${db_dir}")
