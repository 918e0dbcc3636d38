# The class cache once more, in a JVM whose class path lacks KELPDetails.
set(JNI_REDUCED_CLASSES ${CMAKE_BINARY_DIR}/java/classes-without-kelpdetails)
add_test(NAME jniutil_test_missing_class
  COMMAND ${SANDBOX} sh -c "rm -rf '${JNI_REDUCED_CLASSES}' && cp -r '${JAVA_CLASSES_DIR}' '${JNI_REDUCED_CLASSES}' && rm '${JNI_REDUCED_CLASSES}/org/apache/hadoop/fs/kelp/KELPDetails.class' && exec \"$0\"" $<TARGET_FILE:jniutil_test>)
set_tests_properties(jniutil_test_missing_class PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV};KELP_TEST_CLASSPATH_OVERRIDE=${JNI_REDUCED_CLASSES}:${HADOOP_CLASSPATH}")

# The debug log switched on: the library says what failed, and every result
# stays the same (the whole local-operation suite passes unchanged).
add_test(NAME local_ops_test_debug_log
  COMMAND ${SANDBOX} sh -c "\"$0\" 2>\"$1\" && grep -q '^kelphadoopmap\\[[0-9]*\\]: ' \"$1\""
          $<TARGET_FILE:local_ops_test> ${CMAKE_BINARY_DIR}/local_ops_test_debug.log)
set_tests_properties(local_ops_test_debug_log PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV};KELPHADOOP_DEBUG=1")
add_test(NAME exports_test_debug_switch COMMAND ${SANDBOX} $<TARGET_FILE:exports_test>
         --gtest_filter=Exports.DebugSwitch*)
set_tests_properties(exports_test_debug_switch PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV};KELPHADOOP_DEBUG=1")
