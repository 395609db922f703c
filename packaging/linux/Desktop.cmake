# The desktop entry, the entry for software centres, and the manual page.

configure_file(linux/ferrin-relay.1.in ferrin-relay.1 @ONLY)
add_custom_command(OUTPUT ferrin-relay.1.gz
  COMMAND gzip -9nkf ferrin-relay.1 DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/ferrin-relay.1 VERBATIM)
add_custom_target(ferrin_manual ALL DEPENDS ferrin-relay.1.gz)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ferrin-relay.1.gz DESTINATION share/man/man1)

if(FERRIN_GUI)
  configure_file(linux/com.ferrin.Relay.metainfo.xml.in com.ferrin.Relay.metainfo.xml @ONLY)
  install(FILES linux/com.ferrin.Relay.desktop DESTINATION share/applications)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/com.ferrin.Relay.metainfo.xml DESTINATION share/metainfo)
endif()
