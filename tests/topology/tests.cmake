# Block-location tests that each need a library of their own, so each suite
# of block_locations_fresh runs in its own process: the first query of a
# process, a JVM whose BlockLocation lacks setCachedHosts (the stand-in of
# an older Hadoop, compiled here and put before the project's classes), and
# a 1 TiB file (with the simulator's request log off: 98 requests of 63 KiB).
add_executable(block_locations_fresh ${CMAKE_CURRENT_LIST_DIR}/block_locations_fresh.cpp)
target_link_libraries(block_locations_fresh PRIVATE testsupport GTest::gtest_main)
add_dependencies(block_locations_fresh kelpsim)

set(OLD_HADOOP_SOURCE ${CMAKE_CURRENT_LIST_DIR}/old-hadoop/org/apache/hadoop/fs/BlockLocation.java)
set(OLD_HADOOP_CLASSES ${CMAKE_BINARY_DIR}/tests/topology/old-hadoop-classes)
add_custom_command(
  OUTPUT ${OLD_HADOOP_CLASSES}/org/apache/hadoop/fs/BlockLocation.class
  COMMAND ${Java_JAVAC_EXECUTABLE} -Xlint:all -Werror -d ${OLD_HADOOP_CLASSES} ${OLD_HADOOP_SOURCE}
  DEPENDS ${OLD_HADOOP_SOURCE}
  COMMENT "Compiling the BlockLocation of an older Hadoop")
add_custom_target(old_hadoop_classes DEPENDS ${OLD_HADOOP_CLASSES}/org/apache/hadoop/fs/BlockLocation.class)
add_dependencies(block_locations_fresh old_hadoop_classes)

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
