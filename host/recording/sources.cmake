# What is common to those that are built with the recording host.
set(nas_recording_sources
  host_process.cpp host_request.cpp host_settings.cpp host_store.cpp intercepts.cpp output_capture.cpp
  recording_host.cpp)
