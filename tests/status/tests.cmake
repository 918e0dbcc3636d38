# Status and listing of a path only the helper daemon may open: the JVM runs
# as kelpuser1 while the daemon runs as root (the wrapper starts both).
add_executable(daemon_only_status ${CMAKE_CURRENT_LIST_DIR}/daemon_only_status.cpp)
target_link_libraries(daemon_only_status PRIVATE testsupport GTest::gtest_main)
add_dependencies(daemon_only_status kelpsim kelp-helperd)
add_test(NAME status_daemon_only_paths
         COMMAND ${SANDBOX} ${CMAKE_CURRENT_LIST_DIR}/beside_root_daemon.sh
                 ${CMAKE_BINARY_DIR}/kelp-helperd $<TARGET_FILE:daemon_only_status>)
set_tests_properties(status_daemon_only_paths PROPERTIES TIMEOUT 600 ENVIRONMENT "${TEST_ENV}")

