# Unit tests of the live view's picture sources.
dms_unit_test(camera_live_source_test REAL_CAMERA)
# Linked with the camera library itself (which carries the sources): the
# library is loaded anyway through libdms, and one copy of each global stays
# one.
target_link_libraries(camera_live_source_test PRIVATE dmscamera dmscamera_media_libraries)
target_include_directories(camera_live_source_test
                           PRIVATE ${PROJECT_SOURCE_DIR}/camera/live_view)

# The live-view producer and the last photo, with the server's handler
# against the HTTP fake.
dms_unit_test(camera_live_view_test REAL_CAMERA)
target_link_libraries(camera_live_view_test PRIVATE dmscamera dmscamera_media_libraries)
target_include_directories(camera_live_view_test PRIVATE ${PROJECT_SOURCE_DIR}/camera/live_view)
target_compile_definitions(camera_live_view_test
                           PRIVATE DMS_SHARED_MEDIA_DIR="${DMS_SHARED_MEDIA_DIR}")
