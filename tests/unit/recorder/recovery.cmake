kor_test(recovery_test
  SOURCES
    buffer_scan_test.cpp
    fold_proof_test.cpp
    kor_playback_test.cpp
    kor_recover_test.cpp
    kor_resume_test.cpp
    recovery_crash_test.cpp
    recovery_damage_test.cpp
    stopping_disk.cpp)
# Where files are changed, recovery can be stopped.
target_link_options(recovery_test PRIVATE
  -Wl,--wrap=write,--wrap=rename,--wrap=unlink
  -Wl,--wrap=fsync,--wrap=fdatasync,--wrap=ftruncate64)
