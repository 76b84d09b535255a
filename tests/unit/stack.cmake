# Tests of the UPnP/DLNA stack's device side. They link the real libdmsstack,
# never the fakes: unit tests of its pure parts (with the stack's internal
# headers) and loopback tests of the whole device through a small harness.
set(DMS_STACK_TEST_DIR ${CMAKE_CURRENT_LIST_DIR})
find_package(GTest REQUIRED)
include(GoogleTest)
find_package(Python3 COMPONENTS Interpreter REQUIRED)

add_library(dmsstack_test_support INTERFACE)
target_link_libraries(dmsstack_test_support INTERFACE dmsstack GTest::gtest GTest::gtest_main)
target_include_directories(dmsstack_test_support INTERFACE ${PROJECT_SOURCE_DIR}/stack/device)

# LOOPBACK: the tests talk to servers of their own on 127.0.0.1, so they are
# labelled "loopback" rather than "unit" (unit tests open no socket).
function(dms_stack_unit_test name)
  cmake_parse_arguments(ARG "LOOPBACK" "" "" ${ARGN})
  add_executable(${name} ${DMS_STACK_TEST_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE dmsstack_test_support)
  set(label unit)
  if(ARG_LOOPBACK)
    set(label loopback)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${label} ENVIRONMENT
                       "${DMS_TEST_MALLOC_TUNABLES}")
endfunction()

dms_stack_unit_test(stack_xml_text_test)
dms_stack_unit_test(stack_soap_reply_test)
dms_stack_unit_test(stack_soap_request_test)
dms_stack_unit_test(stack_description_test)
dms_stack_unit_test(stack_access_list_test)
dms_stack_unit_test(stack_acl_service_test)
dms_stack_unit_test(stack_client_identity_test)
dms_stack_unit_test(stack_event_moderator_test)
dms_stack_unit_test(stack_search_limiter_test)
dms_stack_unit_test(stack_eventing_test)
dms_stack_unit_test(stack_gena_request_test)
dms_stack_unit_test(stack_action_bridge_test)
dms_stack_unit_test(stack_connection_manager_test)
dms_stack_unit_test(stack_state_table_test)
dms_stack_unit_test(stack_ssdp_alive_test)
dms_stack_unit_test(stack_network_test)
dms_stack_unit_test(stack_handles_test)
dms_stack_unit_test(stack_device_api_test)
# Allocation failures provoked at the C boundary.
target_sources(stack_device_api_test PRIVATE ${DMS_STACK_TEST_DIR}/failing_allocations.cpp)

# The exported functions called from C.
add_executable(stack_exported_c_test ${DMS_STACK_TEST_DIR}/stack_exported_c_test.c)
target_link_libraries(stack_exported_c_test PRIVATE dmsstack)
add_test(NAME StackExportedC.CallsFromC COMMAND stack_exported_c_test)
set_tests_properties(StackExportedC.CallsFromC PROPERTIES LABELS unit)

# The stack wraps no call of the C library: a program that loads it keeps
# its own socket calls. (The listing must hold the stack's own exports, so a
# failed nm cannot pass.)
add_test(NAME StackLibrary.DefinesNoSymbolOfTheCLibrary
         COMMAND sh -c "names=$(nm -D --defined-only \"$1\" | awk '{print $3}') && echo \"$names\" | grep -qx NUVDMSStart && ! echo \"$names\" | grep -xE 'socket|bind|setsockopt|accept|accept4|recv|recvfrom|recvmsg|send|sendto|connect|listen|close'" sh $<TARGET_FILE:dmsstack>)
set_tests_properties(StackLibrary.DefinesNoSymbolOfTheCLibrary PROPERTIES LABELS unit)

# Loopback tests: the harness is a device made of libdmsstack alone.
add_executable(stack_harness ${DMS_STACK_TEST_DIR}/../e2e/stack_harness.cpp)
target_link_libraries(stack_harness PRIVATE dmsstack)
foreach(group Description UdnPersistence SoapActions ConnectionManager Eventing EventDelivery
              EventingAtStop AccessControl
              AccessByName Robustness InterfaceEvents)
  add_test(NAME StackLoopback.${group}
           COMMAND ${Python3_EXECUTABLE} ${DMS_STACK_TEST_DIR}/../e2e/stack_loopback_test.py
                   $<TARGET_FILE:stack_harness> ${group})
  # Under ThreadSanitizer, the GLib family's own threads are not checked (see
  # the file); the slow unwinder gives LeakSanitizer whole stacks.
  set_tests_properties(StackLoopback.${group} PROPERTIES LABELS e2e TIMEOUT 180
    ENVIRONMENT "ASAN_OPTIONS=fast_unwind_on_malloc=0;TSAN_OPTIONS=suppressions=${DMS_STACK_TEST_DIR}/../e2e/glib_tsan.supp")
endforeach()
