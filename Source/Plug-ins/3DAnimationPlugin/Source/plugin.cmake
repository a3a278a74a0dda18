# The "3D Animation" tool plug-in: a Qt 5 plug-in library that the viewer loads with
# QPluginLoader from bin/plugins. It compiles against the host interface (host/), this folder
# and the math library only. The host's platform libraries are linked by file, so that none of
# their include directories (the viewer's own headers) reaches the plug-in.
add_library(kx3danimation MODULE
  KX3DAnimationPlugin.h
  KX3DAnimationPlugin.cpp
  KX3DAnimationDlg.h
  KX3DAnimationDlg.cpp
  KX3DAnimationDlgView.cpp
  KX3DAnimationDlgEngine.cpp
  KX3DAnimationDlgFiles.cpp
  KX3DAnimationDlg.ui
  KX3DAnimation.qrc
  KeyFrameList.h
  KeyFrameList.cpp)

set_target_properties(kx3danimation PROPERTIES
  AUTOMOC ON
  AUTOUIC ON
  AUTORCC ON
  LIBRARY_OUTPUT_DIRECTORY ${KX_PLUGIN_OUTPUT_DIRECTORY})

target_include_directories(kx3danimation PRIVATE ${KX_HOST_INCLUDE_DIR}
                                                 ${CMAKE_CURRENT_SOURCE_DIR})

set(KX_PLUGIN_HOST_LIBRARIES kxapi kximage kxutils)
foreach(host_library IN LISTS KX_PLUGIN_HOST_LIBRARIES)
  target_link_libraries(kx3danimation PRIVATE $<TARGET_FILE:${host_library}>)
endforeach()
add_dependencies(kx3danimation ${KX_PLUGIN_HOST_LIBRARIES})

target_link_libraries(kx3danimation PRIVATE kxrecords kx3dmath
                      Qt5::Widgets Qt5::Xml Qt5::OpenGL)

# The pure units (frame generation, presets, key frame file) when they are built.
if(TARGET kx3danimation_core)
  target_link_libraries(kx3danimation PRIVATE kx3danimation_core)
endif()
