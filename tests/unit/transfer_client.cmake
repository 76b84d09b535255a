# Unit tests of the client transfers (ImportResource, ExportResource) and of
# the resource actions, against the faked client profiles of the stack.
dms_unit_test(transfer_client_test)
target_compile_definitions(transfer_client_test
                           PRIVATE DMS_SHARED_DIR="${CMAKE_SOURCE_DIR}/../shared")
target_include_directories(transfer_client_test PRIVATE ${PROJECT_SOURCE_DIR}/server)
