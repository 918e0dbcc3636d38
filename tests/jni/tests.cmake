# The class cache once more, in a JVM whose class path lacks KELPDetails.
set(JNI_REDUCED_CLASSES ${CMAKE_BINARY_DIR}/java/classes-without-kelpdetails)
add_test(NAME jniutil_test_missing_class
  COMMAND ${SANDBOX} sh -c "rm -rf '${JNI_REDUCED_CLASSES}' && cp -r '${JAVA_CLASSES_DIR}' '${JNI_REDUCED_CLASSES}' && rm '${JNI_REDUCED_CLASSES}/org/apache/hadoop/fs/kelp/KELPDetails.class' && exec \"$0\"" $<TARGET_FILE:jniutil_test>)
set_tests_properties(jniutil_test_missing_class PROPERTIES TIMEOUT 600
  ENVIRONMENT "${TEST_ENV};KELP_TEST_CLASSPATH_OVERRIDE=${JNI_REDUCED_CLASSES}")
