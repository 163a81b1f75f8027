# Interface images (check box states, tool bar atlas, colour selector ring),
# drawn by our own generator at 1x and, as "<name>@2x.png", at 2x.
# Generators of further images include data/interface-src/InterfaceDrawing.h.
add_executable(gen_interface_images ${CMAKE_SOURCE_DIR}/data/interface-src/gen_interface_images.cpp)
target_link_libraries(gen_interface_images PRIVATE PNG::PNG)
set_target_properties(gen_interface_images PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/generators)

set(KW_INTERFACE_IMAGES)
foreach(image checkbox_off checkbox_hover checkbox_on toolbar color_selector)
  list(APPEND KW_INTERFACE_IMAGES ${image}.png ${image}@2x.png)
endforeach()
list(TRANSFORM KW_INTERFACE_IMAGES PREPEND ${KW_DATA_DIR}/interface/ OUTPUT_VARIABLE KW_INTERFACE_FILES)
add_custom_command(OUTPUT ${KW_INTERFACE_FILES}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${KW_DATA_DIR}/interface
  COMMAND gen_interface_images ${KW_DATA_DIR}/interface
  DEPENDS gen_interface_images
  COMMENT "Drawing the interface images"
  VERBATIM)
list(APPEND KW_DATA_OUTPUTS ${KW_INTERFACE_FILES})

# The tool bar icons enlarged over the button backgrounds, to look at them:
# `cmake --build build --target interface_sheet` writes build/interface_sheet.png.
add_custom_target(interface_sheet
  COMMAND gen_interface_images --sheet ${CMAKE_BINARY_DIR}/interface_sheet.png
  DEPENDS gen_interface_images
  COMMENT "Drawing the icon contact sheet"
  VERBATIM)
