# What a 32-bit build gives to the package, as install rules by component; tools/package lays it into the folder x86.
#
#   client   the client library with its import libraries
#   symbols  its debug information and its PDB file
set_property(TARGET nexlet_client PROPERTY PUBLIC_HEADER)  # those of the 64-bit build are for both
install(TARGETS nexlet_client
  RUNTIME DESTINATION bin COMPONENT client
  ARCHIVE DESTINATION lib COMPONENT client)
install(FILES ${CMAKE_BINARY_DIR}/client/nexlet_client.lib ${CMAKE_SOURCE_DIR}/client/nexlet_client.def
  DESTINATION lib COMPONENT client)
install(FILES $<TARGET_FILE:nexlet_client>.debug ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/nexlet_client.pdb
  DESTINATION bin COMPONENT symbols)
