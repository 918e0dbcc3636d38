# The snapshot entry points called by a user other than root, locally: the
# binary runs as kelpuser1 (uid 5001, gid 6001, no other groups) in a
# sandbox whose /mnt/kelp everybody may write to.
add_executable(snapshot_non_root ${CMAKE_CURRENT_LIST_DIR}/snapshot_non_root.cpp)
target_link_libraries(snapshot_non_root PRIVATE testsupport GTest::gtest_main)
add_dependencies(snapshot_non_root kelpsim)
add_test(NAME snapshot_non_root
  COMMAND ${SANDBOX} sh -c "chmod 1777 /mnt/kelp && exec setpriv --reuid=5001 --regid=6001 --clear-groups \"$0\""
          $<TARGET_FILE:snapshot_non_root>)
set_tests_properties(snapshot_non_root PROPERTIES TIMEOUT 600 ENVIRONMENT "${TEST_ENV}")

# A device name full of shell syntax, which the library learns once per
# process: the case runs in a process of its own.
add_test(NAME snapshot_names_test_device
         COMMAND ${SANDBOX} $<TARGET_FILE:snapshot_names_test> --gtest_filter=*HostileDevice*)
set_tests_properties(snapshot_names_test_device PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV};KELP_SNAPSHOT_FRESH=1")
