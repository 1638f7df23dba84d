# The ParaView plugin: the module of the filters with the library in it, and the panels that are made with them.
set(BUILD_SHARED_LIBS ON)
set(tzm_plugin_modules ${PROJECT_SOURCE_DIR}/src/VtkFilters/vtk.module)
paraview_plugin_scan(PLUGIN_FILES ${PROJECT_SOURCE_DIR}/paraview/paraview.plugin PROVIDES_PLUGINS tzm_plugins ENABLE_BY_DEFAULT ON)
paraview_plugin_build(PLUGINS ${tzm_plugins} PLUGINS_FILE_NAME tzm.plugins.xml AUTOLOAD ${tzm_plugins})
