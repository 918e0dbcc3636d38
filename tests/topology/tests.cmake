# Block-location tests that each need a library of their own, so each suite
# of block_locations_fresh runs in its own process: the first query of a
# process, a JVM whose BlockLocation lacks setCachedHosts (Hadoop 2.2.0's,
# put before the project's classes and Hadoop 3's jars), and
# a 1 TiB file (with the simulator's request log off: 98 requests of 63 KiB).
add_executable(block_locations_fresh ${CMAKE_CURRENT_LIST_DIR}/block_locations_fresh.cpp)
target_link_libraries(block_locations_fresh PRIVATE testsupport GTest::gtest_main)
add_dependencies(block_locations_fresh kelpsim)

# The BlockLocation of a real older Hadoop (2.2.0, before cached hosts),
# taken from its jar on Maven Central at configure time, outside any sandbox.
set(OLD_HADOOP_CLASSES ${CMAKE_BINARY_DIR}/tests/topology/old-hadoop-classes)
set(OLD_HADOOP_CLASS ${OLD_HADOOP_CLASSES}/org/apache/hadoop/fs/BlockLocation.class)
if(NOT EXISTS ${OLD_HADOOP_CLASS})
  set(OLD_HADOOP_JAR_DIR ${CMAKE_BINARY_DIR}/tests/topology/old-hadoop-jar)
  execute_process(
    COMMAND ${MVN_EXECUTABLE} -B -q -f ${JAVA_BINDING_DIR}/pom.xml dependency:copy
            -Dartifact=org.apache.hadoop:hadoop-common:2.2.0 -DoutputDirectory=${OLD_HADOOP_JAR_DIR}
    RESULT_VARIABLE OLD_HADOOP_RESULT OUTPUT_VARIABLE OLD_HADOOP_OUTPUT ERROR_VARIABLE OLD_HADOOP_OUTPUT)
  if(NOT OLD_HADOOP_RESULT EQUAL 0)
    message(FATAL_ERROR "Maven could not fetch hadoop-common 2.2.0:\n${OLD_HADOOP_OUTPUT}")
  endif()
  file(MAKE_DIRECTORY ${OLD_HADOOP_CLASSES})
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E tar xf ${OLD_HADOOP_JAR_DIR}/hadoop-common-2.2.0.jar
            org/apache/hadoop/fs/BlockLocation.class
    WORKING_DIRECTORY ${OLD_HADOOP_CLASSES} RESULT_VARIABLE OLD_HADOOP_RESULT)
  if(NOT OLD_HADOOP_RESULT EQUAL 0 OR NOT EXISTS ${OLD_HADOOP_CLASS})
    message(FATAL_ERROR "no BlockLocation.class in hadoop-common-2.2.0.jar")
  endif()
endif()

function(add_block_locations_fresh_test name filter)
  add_test(NAME block_locations_${name}
           COMMAND ${SANDBOX} $<TARGET_FILE:block_locations_fresh> --gtest_filter=${filter})
  set_tests_properties(block_locations_${name} PROPERTIES TIMEOUT 600
                       ENVIRONMENT "${TEST_ENV};${ARGN}")
endfunction()
add_block_locations_fresh_test(first_query FirstQuery.InitInfo*)
add_block_locations_fresh_test(refused_3006 FirstQuery.ProbeFallsBack*)
add_block_locations_fresh_test(old_hadoop OldHadoop.*
  "KELP_TEST_CLASSPATH_OVERRIDE=${OLD_HADOOP_CLASSES}:${JAVA_RUN_CLASSPATH}")
add_block_locations_fresh_test(terabyte Terabyte.* KELP_SIM_LOG=0)
