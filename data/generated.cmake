# Generated run-time data: the factory brush tips, drawn by our own generator.
find_package(PNG REQUIRED)

add_executable(gen_brush_tips ${CMAKE_SOURCE_DIR}/scripts/generators/gen_brush_tips.cpp)
target_link_libraries(gen_brush_tips PRIVATE PNG::PNG)
# A build tool, not part of the program: keep it out of bin/.
set_target_properties(gen_brush_tips PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/generators)

# The first six are the classic tips that old processes name by number.
set(KW_BRUSH_TIP_NAMES round flat rake plaster grass leaf soft chalk splatter sponge bristles)
set(KW_BRUSH_TIP_FILES)
foreach(tip IN LISTS KW_BRUSH_TIP_NAMES)
  list(APPEND KW_BRUSH_TIP_FILES ${KW_DATA_DIR}/brushes/${tip}.png)
endforeach()

add_custom_command(OUTPUT ${KW_BRUSH_TIP_FILES}
  COMMAND gen_brush_tips ${KW_DATA_DIR}/brushes ${KW_BRUSH_TIP_NAMES}
  DEPENDS gen_brush_tips
  COMMENT "Drawing the factory brush tips"
  VERBATIM)
list(APPEND KW_DATA_OUTPUTS ${KW_BRUSH_TIP_FILES})
