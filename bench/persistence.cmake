# The comparison libraries of bench_persistence: cereal (header-only) and
# Boost.Serialization. They serve the benchmark only; the library never
# depends on them.
find_package(Boost REQUIRED COMPONENTS serialization)
find_path(VORN_CEREAL_INCLUDE_DIR cereal/archives/portable_binary.hpp REQUIRED)
target_include_directories(bench_persistence SYSTEM PRIVATE "${VORN_CEREAL_INCLUDE_DIR}")
target_link_libraries(bench_persistence PRIVATE Boost::serialization)
