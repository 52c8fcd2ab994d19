// VORN_API marks what libvorn exports: every public class and every free
// function declared in a public header and defined in the library.
//
//   class VORN_API Date { ... };
//   VORN_API std::string trim(const std::string& text, std::string blanks = " \t");
//   extern template class VORN_API ArchiveDatabase<DatabaseEntry<std::string>>;
//
// The library is compiled with hidden visibility, so anything without the
// macro (in particular everything in vorn::detail) stays inside libvorn.so
// and may change without breaking applications. Put the macro on public
// classes users call or derive from, on exception classes (their type
// information must be one across the library boundary), and on explicit
// instantiations of templates whose members are defined in a .cpp. Class
// templates defined wholly in headers need no macro.
//
// A static build (BUILD_SHARED_LIBS=OFF) defines VORN_STATIC for the library
// and everything that links it, and the macro expands to nothing.
#ifndef VORN_FOUNDATION_EXPORT_H_
#define VORN_FOUNDATION_EXPORT_H_

#if defined(VORN_STATIC)
#define VORN_API
#else
#define VORN_API __attribute__((visibility("default")))
#endif

#endif  // VORN_FOUNDATION_EXPORT_H_
