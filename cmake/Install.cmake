# Components: Core, Formats and CoreDevelopment, what needs no VTK; Runtime and Development, the libraries of the VTK classes; Tools,
# the host program; Python, the module tzm; VtkPython, the VTK classes in VTK's Python.
include(CMakePackageConfigHelpers)

set(tzm_package vtkTZMProcessChainImaging)
set(tzm_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${tzm_package})
set(tzm_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/${tzm_package})

# Libraries of one component, with an export of their own and the licence beside them.
function(tzm_install_libraries export runtime development)
  install(TARGETS ${ARGN} EXPORT ${export}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${runtime} NAMELINK_COMPONENT ${development}
    FILE_SET HEADERS DESTINATION ${tzm_include_dir} COMPONENT ${development})
  install(EXPORT ${export} NAMESPACE TZM:: DESTINATION ${tzm_package_dir} COMPONENT ${development})
endfunction()

# Each Debian package holds the licence; all parts of an installed tree share one copy.
function(tzm_install_licence component package)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} RENAME copyright COMPONENT ${component})
endfunction()

set(tzm_soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
tzm_install_libraries(tzmCoreTargets Core CoreDevelopment tzmcore)
tzm_install_libraries(tzmFormatsTargets Formats CoreDevelopment tzmformats)
tzm_install_licence(Core libtzmcore${tzm_soversion})
tzm_install_licence(CoreDevelopment libtzmcore-dev)
tzm_install_licence(Formats libtzmformats${tzm_soversion})
if(TZM_BUILD_IMAGING)
  tzm_install_libraries(${tzm_package}Targets Runtime Development vtkTZMProcessChainImaging tzmvti)
  install(EXPORT tzmVtkFiltersTargets NAMESPACE TZM:: DESTINATION ${tzm_package_dir} COMPONENT Development)
  get_property(tzm_filter_headers GLOBAL PROPERTY tzm_filter_headers)
  install(FILES ${tzm_filter_headers} DESTINATION ${tzm_include_dir}/VtkFilters COMPONENT Development)
  tzm_install_licence(Runtime libvtktzmprocesschainimaging${tzm_soversion})
  tzm_install_licence(Development libvtktzmprocesschainimaging-dev)
endif()

configure_package_config_file(cmake/${tzm_package}Config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/${tzm_package}Config.cmake INSTALL_DESTINATION ${tzm_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${tzm_package}ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/${tzm_package}Config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/${tzm_package}ConfigVersion.cmake
  DESTINATION ${tzm_package_dir} COMPONENT CoreDevelopment)

configure_file(cmake/tzmcore.pc.in tzmcore.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tzmcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT CoreDevelopment)
if(TZM_BUILD_IMAGING)
  # VTK has no pkg-config files of its own: its headers and libraries are named one by one.
  list(GET VTK_INCLUDE_DIRS 0 tzm_vtk_include_dir)
  if(NOT tzm_vtk_include_dir)
    get_target_property(tzm_vtk_include_dir VTK::CommonCore INTERFACE_INCLUDE_DIRECTORIES)
    list(GET tzm_vtk_include_dir 0 tzm_vtk_include_dir)
  endif()
  set(tzm_vtk_version ${VTK_MAJOR_VERSION}.${VTK_MINOR_VERSION})
  configure_file(cmake/${tzm_package}.pc.in ${tzm_package}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${tzm_package}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endif()

if(TZM_BUILD_APPS)
  install(TARGETS tzmchain RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
  set(tzm_manual ${CMAKE_CURRENT_BINARY_DIR}/apps/tzmchain)
  install(FILES ${tzm_manual}/tzmchain.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
  install(FILES ${tzm_manual}/tzmchain.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tzmchain
    COMPONENT Tools)
  install(FILES ${tzm_manual}/_tzmchain DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT Tools)
  tzm_install_licence(Tools tzmchain)
endif()

if(TZM_BUILD_PYTHON)
  tzm_install_licence(Python python3-tzm)
endif()
if(TZM_BUILD_VTK_PYTHON)
  tzm_install_licence(VtkPython python3-tzmvtk)
endif()

# Debian packages: cpack -G DEB
set(CPACK_PACKAGE_NAME vtktzmprocesschainimaging)
set(CPACK_PACKAGE_VENDOR "vtkTZMProcessChainImaging developers")
set(CPACK_PACKAGE_CONTACT "vtkTZMProcessChainImaging developers <developers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/src ${CMAKE_CURRENT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(CPACK_DEBIAN_PACKAGE_SECTION science)

# A component as a Debian package; more arguments: packages that it needs beside those that its binaries tell.
function(tzm_debian_package component name section what)
  string(TOUPPER ${component} upper)
  list(JOIN ARGN ", " depends)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${PROJECT_DESCRIPTION} (${what})" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()
set(same "(= ${PROJECT_VERSION})")
set(CPACK_COMPONENTS_ALL)
tzm_debian_package(Core libtzmcore${tzm_soversion} libs "core")
tzm_debian_package(Formats libtzmformats${tzm_soversion} libs "readers of recordings" "libtzmcore${tzm_soversion} ${same}")
tzm_debian_package(CoreDevelopment libtzmcore-dev libdevel "headers of the core" "libtzmcore${tzm_soversion} ${same}"
  "libtzmformats${tzm_soversion} ${same}" libjsoncpp-dev)
if(TZM_BUILD_IMAGING)
  tzm_debian_package(Runtime libvtktzmprocesschainimaging${tzm_soversion} libs "VTK classes" "libtzmcore${tzm_soversion} ${same}")
  tzm_debian_package(Development libvtktzmprocesschainimaging-dev libdevel "headers"
    "libvtktzmprocesschainimaging${tzm_soversion} ${same}" "libtzmcore-dev ${same}" libvtk9-dev)
endif()
if(TZM_BUILD_APPS)
  tzm_debian_package(Tools tzmchain science "program" "libvtktzmprocesschainimaging${tzm_soversion} ${same}"
    "libtzmformats${tzm_soversion} ${same}")
endif()
if(TZM_BUILD_PYTHON)
  math(EXPR tzm_next_python "${Python3_VERSION_MINOR} + 1") # an extension is for one minor version
  tzm_debian_package(Python python3-tzm python "Python module" "libtzmcore${tzm_soversion} ${same}"
    "libtzmformats${tzm_soversion} ${same}" "python3 (>= 3.${Python3_VERSION_MINOR})" "python3 (<< 3.${tzm_next_python})"
    python3-numpy)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "python3-matplotlib, python3-xarray")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-distributed, python3-zarr, python3-tqdm")
endif()
if(TZM_BUILD_VTK_PYTHON)
  tzm_debian_package(VtkPython python3-tzmvtk python "VTK classes in Python" "libvtktzmprocesschainimaging${tzm_soversion} ${same}"
    "libtzmformats${tzm_soversion} ${same}" python3-vtk9)
endif()
include(CPack)
