# "Ferrin Relay.app", whole in the build tree, so that the application runs from there, too.

configure_file(macos/Info.plist.in Info.plist @ONLY)
set_target_properties(ferrin-relay PROPERTIES
  MACOSX_BUNDLE ON
  MACOSX_BUNDLE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/Info.plist
  OUTPUT_NAME "Ferrin Relay"
  RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

set(picture ${PROJECT_SOURCE_DIR}/resources/icons/com.ferrin.Relay.svg)
set(icon "${PROJECT_BINARY_DIR}/${FERRIN_DATADIR}/AppIcon.icns")
add_custom_command(OUTPUT ${icon}
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/icon ${picture} ${icon}
  DEPENDS ${CMAKE_CURRENT_LIST_DIR}/icon ${picture} VERBATIM)
add_custom_target(ferrin_icon ALL DEPENDS ${icon})
install(FILES ${icon} copyright DESTINATION ${FERRIN_DATADIR})
