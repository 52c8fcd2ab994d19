# vorn_add_component(<name> MACRO <PREFIX> DESCRIPTION <text> SOURCES ... HEADERS ...)
#
# An optional library of its own beside the core, for code with a dependency
# (RapidJSON, SQLite, libpq): vorn_<name>, aliased vorn::<name>, shared or
# static as the core, with hidden visibility (<PREFIX>_API marks what it
# exports; a static build defines <PREFIX>_STATIC). The install rules below
# give it its own export set, which find_package(vorn COMPONENTS <name>)
# loads, and a pkg-config file vorn-<name>.pc.
function(vorn_add_component name)
  cmake_parse_arguments(ARG "" "MACRO;DESCRIPTION" "SOURCES;HEADERS;INCLUDE_DIRECTORIES;LIBRARIES" ${ARGN})
  set(target vorn_${name})
  if(VORN_SHARED)
    add_library(${target} SHARED ${ARG_SOURCES} ${ARG_HEADERS})
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    target_link_options(${target} PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/vorn.map")
  else()
    add_library(${target} STATIC ${ARG_SOURCES} ${ARG_HEADERS})
    target_compile_definitions(${target} PUBLIC ${ARG_MACRO}_STATIC)
  endif()
  add_library(vorn::${name} ALIAS ${target})
  # The dependency stays private: users link the component, not what it uses.
  target_link_libraries(${target} PUBLIC vorn PRIVATE vorn_warnings ${ARG_LIBRARIES})
  if(ARG_INCLUDE_DIRECTORIES)
    target_include_directories(${target} SYSTEM PRIVATE ${ARG_INCLUDE_DIRECTORIES})
  endif()
  # The library finds libvorn.so next to itself, in the build tree and
  # installed alike; a RUNPATH rewritten at install would be padded with
  # colons, an empty entry that searches the current directory.
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    BUILD_WITH_INSTALL_RPATH ON
    INSTALL_RPATH "$ORIGIN"
    VORN_HEADERS "${ARG_HEADERS}"
    VORN_DESCRIPTION "${ARG_DESCRIPTION}")
  set_property(GLOBAL APPEND PROPERTY VORN_COMPONENTS ${name})
endfunction()

# Installs every component: library, headers (at their place under vorn/),
# export set vorn-<name>-targets.cmake and vorn-<name>.pc.
function(vorn_install_components)
  get_property(components GLOBAL PROPERTY VORN_COMPONENTS)
  foreach(name IN LISTS components)
    set(target vorn_${name})
    install(TARGETS ${target} EXPORT vorn_${name}_targets
      LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
      ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
      RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
      INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
    get_target_property(headers ${target} VORN_HEADERS)
    foreach(header IN LISTS headers)
      file(RELATIVE_PATH relative "${PROJECT_SOURCE_DIR}" "${header}")
      get_filename_component(relative_dir "${relative}" DIRECTORY)
      install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${relative_dir}")
    endforeach()
    install(EXPORT vorn_${name}_targets NAMESPACE vorn:: FILE vorn-${name}-targets.cmake
      DESTINATION "${VORN_CMAKE_DIR}")
    set(VORN_COMPONENT ${name})
    get_target_property(VORN_COMPONENT_DESCRIPTION ${target} VORN_DESCRIPTION)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/vorn-component.pc.in" "${PROJECT_BINARY_DIR}/vorn-${name}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/vorn-${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  endforeach()
endfunction()
