// VORN_SQLITE_API marks what libvorn_sqlite exports: SqliteEntryStore, the
// store under SqliteDatabase<Entry>. The SQLite databases are a library of
// their own (CMake target vorn::sqlite, pkg-config module vorn-sqlite) so
// that the core library keeps no dependency on SQLite; no header of it
// includes sqlite3.h.
//
//   class VORN_SQLITE_API SqliteEntryStore final : public EntryStore { ... };
//
// Like the core library, libvorn_sqlite is compiled with hidden visibility.
// A static build (BUILD_SHARED_LIBS=OFF) defines VORN_SQLITE_STATIC for the
// library and everything that links it, and the macro expands to nothing.
#ifndef VORN_DATABASE_SQLITEEXPORT_H_
#define VORN_DATABASE_SQLITEEXPORT_H_

#if defined(VORN_SQLITE_STATIC)
#define VORN_SQLITE_API
#else
#define VORN_SQLITE_API __attribute__((visibility("default")))
#endif

#endif  // VORN_DATABASE_SQLITEEXPORT_H_
