# The append benchmark compares against SQLite.
find_package(SQLite3 QUIET)
if(SQLite3_FOUND)
  target_link_libraries(bench_database PRIVATE SQLite::SQLite3)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(VORN_SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)
  target_link_libraries(bench_database PRIVATE PkgConfig::VORN_SQLITE3)
endif()
