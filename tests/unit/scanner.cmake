# Unit tests of the media scanner, the camera platform and registration.
# They read the shared sample media in place, generate more with ffmpeg and
# exiftool into scratch folders, and check against exiftool, ffprobe and the
# sqlite3 shell as independent readers.
foreach(scanner_test_name
    camera_jpeg_info_test
    camera_thumbnail_test
    scanner_rows_test
    scanner_rescan_test
    registration_test)
  dms_unit_test(${scanner_test_name} REAL_CAMERA)
  target_link_libraries(${scanner_test_name} PRIVATE dmsscanner dmscamera)
  target_compile_definitions(${scanner_test_name} PRIVATE
    DMS_SHARED_MEDIA_DIR="${DMS_SHARED_MEDIA_DIR}")
endforeach()

find_package(Python3 COMPONENTS Interpreter REQUIRED)
# The daemon's start-up scan, automatic registration and rescan.
add_test(NAME E2E.DaemonScan
         COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/scan_test.py
                 $<TARGET_FILE:dmsd> ${DMS_SHARED_MEDIA_DIR})
# Serial: daemons running side by side compete for the UPnP port.
set_tests_properties(E2E.DaemonScan PROPERTIES LABELS e2e TIMEOUT 300 RUN_SERIAL TRUE)
# Allocation failures provoked at the C boundary.
foreach(sweeping_test registration_test camera_jpeg_info_test camera_thumbnail_test)
  target_sources(${sweeping_test} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit/failing_allocations.cpp)
endforeach()
# FFmpeg loaded while used: the test links the loader alone, not FFmpeg.
dms_unit_test(ffmpeg_loader_test REAL_CAMERA)
target_link_libraries(ffmpeg_loader_test PRIVATE dms_ffmpeg_loader)
