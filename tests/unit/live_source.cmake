# Unit tests of the live view's picture sources.
dms_unit_test(camera_live_source_test)
target_link_libraries(camera_live_source_test PRIVATE dmscamera_live_sources)

# The live-view producer and the last photo, with the server's handler
# against the HTTP fake.
dms_unit_test(camera_live_view_test)
target_link_libraries(camera_live_view_test PRIVATE dmscamera_live dmscamera_live_sources
                                                    dmscamera_media)
target_compile_definitions(camera_live_view_test
                           PRIVATE DMS_SHARED_MEDIA_DIR="${PROJECT_SOURCE_DIR}/../shared/media")
