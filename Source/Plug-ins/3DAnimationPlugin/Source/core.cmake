# The pure units the animation dialog delegates to: frame generation, preset key frames and the
# key frame file (writer, pre-scan, reader). Records in, records or text out; no window, no host.
add_library(kx3danimation_core STATIC
  ${CMAKE_CURRENT_LIST_DIR}/FrameGenerator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PresetBuilder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KeyFrameFileWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KeyFrameFilePreScan.cpp
  ${CMAKE_CURRENT_LIST_DIR}/KeyFrameFileReader.cpp)
target_include_directories(kx3danimation_core PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(kx3danimation_core PUBLIC kxrecords Qt5::Core Qt5::Gui Qt5::Xml)
