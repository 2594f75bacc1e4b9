kor_test(recovery_test
  SOURCES
    kor_playback_test.cpp)
