# `cmake --install` lays out headers under include/<library>/..., the shared
# libraries under lib/, and a package config so that applications can write
#   find_package(orvcore REQUIRED)
#   target_link_libraries(app PRIVATE orvcore::orvcore)
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(orv_libraries GLOBAL PROPERTY ORVCORE_LIBRARIES)

install(TARGETS ${orv_libraries}
  EXPORT orvcoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

foreach(dir orvcommon orvkernel orvcore)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}/"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${dir}"
    FILES_MATCHING PATTERN "*.h")
endforeach()

set(ORVCORE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/orvcore")
install(EXPORT orvcoreTargets NAMESPACE orvcore:: DESTINATION "${ORVCORE_CMAKE_DIR}")

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/orvcoreConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/orvcoreConfig.cmake"
  INSTALL_DESTINATION "${ORVCORE_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/orvcoreConfigVersion.cmake"
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/orvcoreConfig.cmake" "${PROJECT_BINARY_DIR}/orvcoreConfigVersion.cmake"
  DESTINATION "${ORVCORE_CMAKE_DIR}")
