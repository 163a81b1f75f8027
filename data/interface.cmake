# Interface images (check box states, tool bar atlas), drawn by our own generator.
add_executable(gen_interface_images ${CMAKE_SOURCE_DIR}/data/interface-src/gen_interface_images.cpp)
target_link_libraries(gen_interface_images PRIVATE PNG::PNG)
set_target_properties(gen_interface_images PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/generators)

set(KW_INTERFACE_IMAGES checkbox_off.png checkbox_hover.png checkbox_on.png toolbar.png)
list(TRANSFORM KW_INTERFACE_IMAGES PREPEND ${KW_DATA_DIR}/interface/ OUTPUT_VARIABLE KW_INTERFACE_FILES)
add_custom_command(OUTPUT ${KW_INTERFACE_FILES}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${KW_DATA_DIR}/interface
  COMMAND gen_interface_images ${KW_DATA_DIR}/interface
  DEPENDS gen_interface_images
  COMMENT "Drawing the interface images"
  VERBATIM)
list(APPEND KW_DATA_OUTPUTS ${KW_INTERFACE_FILES})
