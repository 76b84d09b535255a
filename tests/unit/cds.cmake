# Unit tests of the cds layer: dms_unit_test(NAME) per test file.
dms_unit_test(soap_message_test)
dms_unit_test(soap_generator_test)
dms_unit_test(action_info_test)
dms_unit_test(cds_impl_manager_test)
dms_unit_test(cds_dispatch_test)
dms_unit_test(cds_replies_test)
dms_unit_test(cds_browse_test)
dms_unit_test(cds_arguments_test)
dms_unit_test(cds_helper_test)
dms_unit_test(cds_res_generator_test)
dms_unit_test(cds_didl_writer_test)
dms_unit_test(cds_browse_engine_test)
dms_unit_test(cds_object_test)
# The DIDL-Lite schema check reads the shared schema catalog beside the tree.
target_compile_definitions(cds_browse_engine_test
                           PRIVATE DMS_SHARED_DIR="${CMAKE_SOURCE_DIR}/../shared")
target_include_directories(cds_object_test PRIVATE ${PROJECT_SOURCE_DIR}/server)
# Allocation failures provoked at the C boundary.
target_sources(cds_dispatch_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit/failing_allocations.cpp)
