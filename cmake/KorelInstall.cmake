# Installing a runtime root: the layout the build stages in krt/ (libraries and tools in
# bin/linux-x86_64, headers, the Korel library functions), plus what lets other projects
# build against it: the CMake package KorelRuntime and the pkg-config file kclkrt.pc.
include(CMakePackageConfigHelpers)

set(KOREL_INSTALL_LIBDIR bin/${KOREL_ARCH_DIR})
set(KOREL_INSTALL_CMAKEDIR lib/cmake/KorelRuntime)

# Hosts link the runtime library and pass arrays with the array library, which needs
# the utility library; these three and the tools are the package's targets.
set_target_properties(korel_kx PROPERTIES EXPORT_NAME kx)
set_target_properties(korel_ut PROPERTIES EXPORT_NAME ut)
target_include_directories(korel_kx INTERFACE $<INSTALL_INTERFACE:include>)
install(TARGETS kclkrt korel_kx korel_ut kcc extractKAR
  EXPORT KorelRuntimeTargets
  LIBRARY DESTINATION ${KOREL_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${KOREL_INSTALL_LIBDIR})
# The rest of the engine is loaded by the runtime library; no host links it.
install(TARGETS korel_ds korel_sv korel_kar korel_krt LIBRARY DESTINATION ${KOREL_INSTALL_LIBDIR})
install(DIRECTORY include/korel DESTINATION include)

install(EXPORT KorelRuntimeTargets NAMESPACE KorelRuntime:: DESTINATION ${KOREL_INSTALL_CMAKEDIR})
set(KOREL_PACKAGE_DIR ${CMAKE_BINARY_DIR}/package)
configure_package_config_file(cmake/package/KorelRuntimeConfig.cmake.in
  ${KOREL_PACKAGE_DIR}/KorelRuntimeConfig.cmake
  INSTALL_DESTINATION ${KOREL_INSTALL_CMAKEDIR}
  PATH_VARS KOREL_INSTALL_LIBDIR)
write_basic_package_version_file(${KOREL_PACKAGE_DIR}/KorelRuntimeConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${KOREL_PACKAGE_DIR}/KorelRuntimeConfig.cmake
  ${KOREL_PACKAGE_DIR}/KorelRuntimeConfigVersion.cmake
  cmake/package/KorelRuntimeComponent.cmake
  DESTINATION ${KOREL_INSTALL_CMAKEDIR})

configure_file(cmake/package/kclkrt.pc.in ${KOREL_PACKAGE_DIR}/kclkrt.pc @ONLY)
install(FILES ${KOREL_PACKAGE_DIR}/kclkrt.pc DESTINATION lib/pkgconfig)
