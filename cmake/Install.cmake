# Three components: Runtime, the library; Development, what a host is built with; Tools, the host program.
include(CMakePackageConfigHelpers)

set(tzm_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vtkTZMProcessChainImaging)
set(tzm_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/vtkTZMProcessChainImaging)

install(TARGETS vtkTZMProcessChainImaging EXPORT vtkTZMProcessChainImagingTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  FILE_SET HEADERS DESTINATION ${tzm_include_dir} COMPONENT Development)
install(EXPORT vtkTZMProcessChainImagingTargets NAMESPACE TZM:: DESTINATION ${tzm_package_dir} COMPONENT Development)

configure_package_config_file(cmake/vtkTZMProcessChainImagingConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfig.cmake INSTALL_DESTINATION ${tzm_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImagingConfigVersion.cmake
  DESTINATION ${tzm_package_dir} COMPONENT Development)

# VTK has no pkg-config files of its own: its headers and libraries are named one by one.
list(GET VTK_INCLUDE_DIRS 0 tzm_vtk_include_dir)
if(NOT tzm_vtk_include_dir)
  get_target_property(tzm_vtk_include_dir VTK::CommonCore INTERFACE_INCLUDE_DIRECTORIES)
  list(GET tzm_vtk_include_dir 0 tzm_vtk_include_dir)
endif()
set(tzm_vtk_version ${VTK_MAJOR_VERSION}.${VTK_MINOR_VERSION})
configure_file(cmake/vtkTZMProcessChainImaging.pc.in vtkTZMProcessChainImaging.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vtkTZMProcessChainImaging.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

if(TZM_BUILD_APPS)
  install(TARGETS tzmchain RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
endif()

# Debian packages: cpack -G DEB
set(CPACK_PACKAGE_NAME vtktzmprocesschainimaging)
set(CPACK_PACKAGE_VENDOR "vtkTZMProcessChainImaging developers")
set(CPACK_PACKAGE_CONTACT "vtkTZMProcessChainImaging developers <developers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(tzm_soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvtktzmprocesschainimaging${tzm_soversion})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION} (shared library)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvtktzmprocesschainimaging-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libvtktzmprocesschainimaging${tzm_soversion} (= ${PROJECT_VERSION}), libvtk9-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION} (headers)")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tzmchain)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libvtktzmprocesschainimaging${tzm_soversion} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Turns recordings of a ground-penetrating radar into images on the command line")
set(CPACK_COMPONENTS_ALL Runtime Development)
if(TZM_BUILD_APPS)
  list(APPEND CPACK_COMPONENTS_ALL Tools)
endif()
include(CPack)
