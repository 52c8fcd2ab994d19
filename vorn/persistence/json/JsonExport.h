// VORN_JSON_API marks what libvorn_json exports: the JSON streams and their
// exception types. The JSON streams are a library of their own (CMake target
// vorn::json, pkg-config module vorn-json) so that the core library keeps no
// dependency on a JSON parser.
//
//   class VORN_JSON_API JsonWriteStream : public PersistentWriteStream { ... };
//
// Like the core library, libvorn_json is compiled with hidden visibility. A
// static build (BUILD_SHARED_LIBS=OFF) defines VORN_JSON_STATIC for the
// library and everything that links it, and the macro expands to nothing.
#ifndef VORN_PERSISTENCE_JSON_JSONEXPORT_H_
#define VORN_PERSISTENCE_JSON_JSONEXPORT_H_

#if defined(VORN_JSON_STATIC)
#define VORN_JSON_API
#else
#define VORN_JSON_API __attribute__((visibility("default")))
#endif

#endif  // VORN_PERSISTENCE_JSON_JSONEXPORT_H_
