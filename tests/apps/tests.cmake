# Hadoop's shell and a MapReduce word count on kelp:// (the Maven module
# java/apps), as JUnit tests in a JVM of their own inside the sandbox, with a
# serving helper daemon. Maven compiles them and resolves their class path at
# build time, outside the sandbox. A plain JVM cannot load a sanitizer-built library, so only the
# normal build runs them.
if(NOT KELP_SANITIZE)
  find_program(MVN_EXECUTABLE mvn REQUIRED)
  set(APPS_DIR ${CMAKE_SOURCE_DIR}/java/apps)
  set(APPS_CLASSPATH_FILE ${CMAKE_BINARY_DIR}/java/apps-test.classpath)
  file(GLOB_RECURSE APPS_SOURCES CONFIGURE_DEPENDS ${APPS_DIR}/src/*)
  add_custom_command(
    OUTPUT ${APPS_CLASSPATH_FILE}
    COMMAND ${MVN_EXECUTABLE} -q -B -f ${APPS_DIR}/pom.xml test-compile dependency:build-classpath
            -Dmdep.includeScope=test -Dmdep.outputFile=${APPS_CLASSPATH_FILE}
    DEPENDS ${APPS_SOURCES} ${APPS_DIR}/pom.xml
    COMMENT "Compiling the Hadoop applications with Maven")
  add_custom_target(kelp_apps ALL DEPENDS ${APPS_CLASSPATH_FILE})
  add_dependencies(kelp_apps java_classes kelphadoopmap kelpsim kelp-helperd)
  add_test(NAME hadoop_apps_test
           COMMAND ${SANDBOX} ${CMAKE_CURRENT_LIST_DIR}/run_junit.sh ${Java_JAVA_EXECUTABLE}
                   $<TARGET_FILE_DIR:kelphadoopmap>
                   ${CMAKE_BINARY_DIR}/kelp-helperd
                   "${JAVA_CLASSES_DIR}:${APPS_DIR}/target/test-classes:${APPS_DIR}/target/classes"
                   ${APPS_CLASSPATH_FILE} org.apache.hadoop.fs.kelp.apps.KelpAppsTest)
  set_tests_properties(hadoop_apps_test PROPERTIES TIMEOUT 600 ENVIRONMENT "${TEST_ENV}")
endif()
