# Unit tests of the transfer layer and of the stack's HTTP side.
foreach(transfer_test_name
    transfer_range_header_test
    transfer_send_file_test
    transfer_server_test
    transfer_upload_test)
  dms_unit_test(${transfer_test_name})
endforeach()
target_compile_definitions(transfer_upload_test
                           PRIVATE DMS_SHARED_DIR="${CMAKE_SOURCE_DIR}/../shared")

# The transfer server on the stack's real HTTP profiles, with curl on
# 127.0.0.1: libdms, libdmsstack and libdmscamera, no fakes.
add_executable(stack_http_transfer_test unit/stack_http_transfer_test.cpp unit/log_capture.cpp)
target_link_libraries(stack_http_transfer_test PRIVATE dms dms_internal dmsstack dmscamera GTest::gtest
                                                       GTest::gtest_main)
target_include_directories(stack_http_transfer_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit
                                                            ${CMAKE_CURRENT_SOURCE_DIR}/fakes)
gtest_discover_tests(stack_http_transfer_test DISCOVERY_TIMEOUT 60
                     PROPERTIES LABELS loopback TIMEOUT 300)

# The stack's HTTP side alone (libdmsstack, with its internal headers).
dms_stack_unit_test(stack_http_records_test)
target_include_directories(stack_http_records_test PRIVATE ${PROJECT_SOURCE_DIR}/stack/http)
dms_stack_unit_test(stack_http_server_test LOOPBACK)
target_include_directories(stack_http_server_test PRIVATE ${PROJECT_SOURCE_DIR}/stack/http)
dms_stack_unit_test(stack_http_connection_test)
target_include_directories(stack_http_connection_test PRIVATE ${PROJECT_SOURCE_DIR}/stack/http)
dms_stack_unit_test(stack_http_client_test LOOPBACK)
target_include_directories(stack_http_client_test PRIVATE ${PROJECT_SOURCE_DIR}/stack/http)
dms_stack_unit_test(stack_response_header_block_test)
target_include_directories(stack_response_header_block_test
                           PRIVATE ${PROJECT_SOURCE_DIR}/stack/http)
target_include_directories(transfer_upload_test PRIVATE ${PROJECT_SOURCE_DIR}/server)

# The live view against a fake producer.
dms_unit_test(transfer_live_view_test)
dms_unit_test(transfer_image_codec_test)
# Allocation failures provoked at the C boundary.
target_sources(transfer_server_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit/failing_allocations.cpp)
