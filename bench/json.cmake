# bench_json compares the JSON streams with cereal's JSON archive (header-
# only), which serves the benchmark only.
find_path(VORN_CEREAL_INCLUDE_DIR cereal/archives/json.hpp REQUIRED)
target_include_directories(bench_json SYSTEM PRIVATE "${VORN_CEREAL_INCLUDE_DIR}")
target_link_libraries(bench_json PRIVATE vorn::json)
