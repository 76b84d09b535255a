# The live view's picture sources (frame_source.h), relative to camera/.
set(DMS_LIVE_SOURCE_FILES
    live_view/frame_source.cpp
    live_view/frame_timing.cpp
    live_view/jpeg_encoder.cpp
    live_view/picture_scaler.cpp
    live_view/digit_font.cpp
    live_view/test_picture_source.cpp
    live_view/camera_jpeg.cpp
    live_view/v4l2_camera.cpp
    live_view/v4l2_source.cpp
    live_view/video_decoder.cpp
    live_view/video_file_source.cpp)
