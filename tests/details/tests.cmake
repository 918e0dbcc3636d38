# Cases of details_test that need the library's caches still empty: one
# process each.
foreach(case DetailsFromJava.FirstCall DetailsFromJava.NoDaemon DetailsFresh.NoFlaggedPool
        DetailsFresh.UnmatchedMount DetailsFresh.OddAnswers DetailsFresh.DeviceName)
  string(REGEX REPLACE "^.*\\." "" name ${case})
  add_test(NAME details_test_${name}
           COMMAND ${SANDBOX} $<TARGET_FILE:details_test> --gtest_filter=${case}*)
  set_tests_properties(details_test_${name} PROPERTIES TIMEOUT 600
    ENVIRONMENT "${TEST_ENV};KELP_DETAILS_FRESH=1")
endforeach()

# KELP_FCNTL_CALL empty, and longer than the library keeps (100 characters).
add_test(NAME details_test_fcntl_call_empty
         COMMAND ${SANDBOX} env KELP_FCNTL_CALL= $<TARGET_FILE:details_test>
                 --gtest_filter=DetailsCore.FcntlCallSetting)
set_tests_properties(details_test_fcntl_call_empty PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV}")
string(REPEAT "0123456789" 12 DETAILS_LONG_FCNTL_CALL)
string(SUBSTRING "${DETAILS_LONG_FCNTL_CALL}" 0 100 DETAILS_KEPT_FCNTL_CALL)
add_test(NAME details_test_fcntl_call_set
         COMMAND ${SANDBOX} $<TARGET_FILE:details_test>
                 --gtest_filter=DetailsCore.FcntlCallSetting)
set_tests_properties(details_test_fcntl_call_set PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV};KELP_FCNTL_CALL=${DETAILS_LONG_FCNTL_CALL};KELP_TEST_EXPECT_FCNTL=${DETAILS_KEPT_FCNTL_CALL}")
