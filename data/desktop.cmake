# The program as a desktop citizen: its icon, drawn by our own generator into
# the hicolor theme's layout, and what `cmake --install` puts under the prefix:
# the program in bin/, its run-time files in share/kestrelwing/ (found from the
# executable's own location), the menu entry, the file types and the AppStream
# description. Nothing is run against the system here: the icon cache, the
# menu and the MIME database are refreshed by the packaging system's triggers.
find_package(PNG REQUIRED)

add_executable(gen_program_icon ${CMAKE_SOURCE_DIR}/data/interface-src/gen_program_icon.cpp)
target_link_libraries(gen_program_icon PRIVATE PNG::PNG)
set_target_properties(gen_program_icon PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/generators)

set(KW_ICON_SIZES 16 24 32 48 64 128 256)
set(KW_ICON_DIR ${CMAKE_BINARY_DIR}/desktop/icons/hicolor)
set(KW_ICON_FILES)
foreach(size IN LISTS KW_ICON_SIZES)
  list(APPEND KW_ICON_FILES ${KW_ICON_DIR}/${size}x${size}/apps/kestrelwing.png)
endforeach()
add_custom_command(OUTPUT ${KW_ICON_FILES}
  COMMAND gen_program_icon ${KW_ICON_DIR} ${KW_ICON_SIZES}
  DEPENDS gen_program_icon
  COMMENT "Drawing the program icon"
  VERBATIM)
list(APPEND KW_DATA_OUTPUTS ${KW_ICON_FILES})

# The languages folder exists even when no language file is there yet, so the
# installed tree has the same shape as the build tree.
file(MAKE_DIRECTORY ${KW_LANGUAGES_DIR})

set(KW_DESKTOP_SRC ${CMAKE_SOURCE_DIR}/data/desktop)
# <build>/data is also this folder's CMake binary folder: its build files stay behind.
install(DIRECTORY ${KW_DATA_DIR}/ DESTINATION share/kestrelwing/data
  REGEX "/(CMakeFiles|Makefile|cmake_install\\.cmake|CTestTestfile\\.cmake)$" EXCLUDE)
install(DIRECTORY ${KW_LANGUAGES_DIR}/ DESTINATION share/kestrelwing/languages)
install(DIRECTORY ${KW_ICON_DIR}/ DESTINATION share/icons/hicolor)
install(FILES ${KW_DESKTOP_SRC}/kestrelwing.desktop DESTINATION share/applications)
# Our licence and the notices of the libraries, where the help dialog opens them.
install(FILES ${CMAKE_SOURCE_DIR}/Licenses.txt DESTINATION share/kestrelwing)
install(FILES ${KW_DESKTOP_SRC}/org.kestrelwing.Kestrelwing.metainfo.xml DESTINATION share/metainfo)
install(FILES ${KW_DESKTOP_SRC}/kestrelwing-mime.xml DESTINATION share/mime/packages RENAME kestrelwing.xml)
# The fonts in data/fonts are DejaVu under other names; their licence travels with them.
set(KW_FONT_LICENSE /usr/share/doc/fonts-dejavu-core/copyright)
if(EXISTS ${KW_FONT_LICENSE})
  install(FILES ${KW_FONT_LICENSE} DESTINATION share/kestrelwing/data/fonts RENAME DejaVu-copyright.txt)
else()
  message(WARNING "${KW_FONT_LICENSE} is missing: the installed fonts will lack their licence text")
endif()
