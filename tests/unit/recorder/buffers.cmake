kor_test(buffers_test
  SOURCES
    kor_buffer_test.cpp
    kor_current_buffer_test.cpp
    kor_hist_buffer_test.cpp
    buffer_faults_test.cpp)
