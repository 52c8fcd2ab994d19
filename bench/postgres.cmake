# bench_postgres compares PostgresDatabase with libpq used directly, on a
# server it starts with the test support's PostgresServer.
target_link_libraries(bench_postgres PRIVATE vorn::postgres "${VORN_LIBPQ_LIBRARY}")
target_include_directories(bench_postgres SYSTEM PRIVATE "${VORN_LIBPQ_INCLUDE_DIR}")
