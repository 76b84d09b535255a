# Unit tests of the server layer: dms_unit_test(NAME) per test file. They
# also reach the layer's internal headers.
foreach(server_test_name
    settings_test
    description_files_test
    lifecycle_test
    device_services_test
    network_exceptions_test
    access_control_test)
  dms_unit_test(${server_test_name})
  target_include_directories(${server_test_name} PRIVATE ${PROJECT_SOURCE_DIR}/server)
endforeach()

# The layer's exported interface, called from C.
add_executable(server_exported_c_test unit/server_exported_c_test.c)
target_link_libraries(server_exported_c_test PRIVATE dms dmsfakes dmsfakes_live_view)
add_test(NAME ServerExportedC.CallsFromC COMMAND server_exported_c_test)
set_tests_properties(ServerExportedC.CallsFromC PROPERTIES LABELS unit)
