include(GNUInstallDirs)

# Helpers shared by the libraries, programs, tests and benchmarks.

# Warnings for orvcore's own code only (never for dependencies).
function(orv_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(ORVCORE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# orv_add_library(<name> DIRS <folders...> [PUBLIC_DEPS <targets...>] [PRIVATE_DEPS <targets...>])
#
# One shared library built from every .cpp of the given folders. Headers sit
# beside their sources and are included by folder: <orvcommon/Ray.h>, so the
# repository root is the include directory in the build tree and <prefix>/include
# once installed.
function(orv_add_library name)
  cmake_parse_arguments(ARG "" "" "DIRS;PUBLIC_DEPS;PRIVATE_DEPS" ${ARGN})
  set(sources)
  set(headers)
  foreach(dir IN LISTS ARG_DIRS)
    file(GLOB dir_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${dir}/*.cpp")
    file(GLOB dir_headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${dir}/*.h")
    list(APPEND sources ${dir_sources})
    list(APPEND headers ${dir_headers})
  endforeach()
  add_library(${name} SHARED ${sources} ${headers})
  add_library(orvcore::${name} ALIAS ${name})
  target_compile_features(${name} PUBLIC cxx_std_17)
  # Calls inside one library may bind locally and be inlined.
  target_compile_options(${name} PRIVATE -fno-semantic-interposition)
  # ... and are linked as direct calls rather than through the library's
  # own procedure linkage table.
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
  orv_set_warnings(${name})
  set_property(GLOBAL APPEND PROPERTY ORVCORE_LIBRARIES ${name})
endfunction()
