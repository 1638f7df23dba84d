include(CMakePackageConfigHelpers)

set(tzm_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vtkTZMProcessChainImaging)

install(TARGETS vtkTZMProcessChainImaging EXPORT vtkTZMProcessChainImagingTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vtkTZMProcessChainImaging)
install(EXPORT vtkTZMProcessChainImagingTargets NAMESPACE TZM:: DESTINATION ${tzm_package_dir})

configure_package_config_file(cmake/vtkTZMProcessChainImagingConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfig.cmake INSTALL_DESTINATION ${tzm_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfigVersion.cmake
  DESTINATION ${tzm_package_dir})

if(TZM_BUILD_APPS)
  install(TARGETS tzmchain RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
