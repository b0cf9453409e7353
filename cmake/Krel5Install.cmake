# What a module author gets: both libraries, the public headers with the little of the platform that they need, and the
# package by which CMake finds them.
include(CMakePackageConfigHelpers)

install(TARGETS Krel5 zel EXPORT Krel5Targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(Krel5 zel PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
target_compile_features(Krel5 INTERFACE cxx_std_20) # what the headers need, of whoever includes them

install(DIRECTORY include/krel5 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES
  platform/zel/foundation/Array.h
  platform/zel/foundation/Exception.h
  platform/zel/foundation/Export.h
  platform/zel/foundation/Index.h
  platform/zel/foundation/StackTrace.h
  platform/zel/foundation/String.h
  platform/zel/foundation/Utf.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zel/foundation)
install(DIRECTORY platform/zel/model/vocabulary/tables DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zel/model/vocabulary)

install(FILES examples/SystemInformationFilter.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/krel5)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Krel5)
install(EXPORT Krel5Targets NAMESPACE Krel5:: DESTINATION ${package_folder})
configure_package_config_file(cmake/Krel5Config.cmake.in ${PROJECT_BINARY_DIR}/Krel5Config.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/Krel5ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/Krel5Config.cmake ${PROJECT_BINARY_DIR}/Krel5ConfigVersion.cmake
  DESTINATION ${package_folder})

# The same for those who do not use CMake: pkg-config --cflags --libs krel5. Its paths, too, are relative to where it lies.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
  OUTPUT_VARIABLE include_folder)
configure_file(cmake/krel5.pc.in ${PROJECT_BINARY_DIR}/krel5.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/krel5.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
