// VORN_POSTGRES_API marks what libvorn_postgres exports: PostgresEntryStore.
// The PostgreSQL databases are a library of their own (CMake target
// vorn::postgres, pkg-config module vorn-postgres) so that the core library
// keeps no dependency on libpq.
//
//   class VORN_POSTGRES_API PostgresEntryStore final : public EntryStore { ... };
//
// Like the core library, libvorn_postgres is compiled with hidden
// visibility. A static build (BUILD_SHARED_LIBS=OFF) defines
// VORN_POSTGRES_STATIC for the library and everything that links it, and the
// macro expands to nothing.
#ifndef VORN_DATABASE_POSTGRESEXPORT_H_
#define VORN_DATABASE_POSTGRESEXPORT_H_

#if defined(VORN_POSTGRES_STATIC)
#define VORN_POSTGRES_API
#else
#define VORN_POSTGRES_API __attribute__((visibility("default")))
#endif

#endif  // VORN_DATABASE_POSTGRESEXPORT_H_
