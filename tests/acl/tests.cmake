# The ACL methods where libacl.so cannot be used. One test binary runs in two
# environments: with a libacl.so that lacks one required function, found
# first through LD_LIBRARY_PATH, and with the system's libacl.so hidden by a
# bind mount inside the sandbox. In both the library must load and work, and
# every ACL method must raise "Failed to load libacl".
set(ACL_STUB_DIR ${CMAKE_BINARY_DIR}/tests/acl/stub)
add_library(acl_stub SHARED ${CMAKE_CURRENT_LIST_DIR}/libacl_stub.cpp)
set_target_properties(acl_stub PROPERTIES OUTPUT_NAME acl NO_SONAME ON
                      LIBRARY_OUTPUT_DIRECTORY ${ACL_STUB_DIR})

add_executable(acl_unavailable ${CMAKE_CURRENT_LIST_DIR}/acl_unavailable.cpp)
target_link_libraries(acl_unavailable PRIVATE testsupport GTest::gtest_main)
add_dependencies(acl_unavailable kelpsim acl_stub)

set(ACL_STUB_ENV ${TEST_ENV})
list(APPEND ACL_STUB_ENV "LD_LIBRARY_PATH=${ACL_STUB_DIR}")
add_test(NAME acl_unavailable_stub
         COMMAND ${SANDBOX} $<TARGET_FILE:acl_unavailable> --gtest_filter=AclUnavailable.*:AclStub.*)
set_tests_properties(acl_unavailable_stub PROPERTIES TIMEOUT 600 ENVIRONMENT "${ACL_STUB_ENV}")

# The file behind the system's libacl.so; inside the test's namespace only,
# an empty file is mounted over it so that dlopen("libacl.so") fails.
find_library(KELP_SYSTEM_LIBACL NAMES libacl.so)
if(KELP_SYSTEM_LIBACL)
  get_filename_component(KELP_SYSTEM_LIBACL_FILE ${KELP_SYSTEM_LIBACL} REALPATH)
  set(ACL_EMPTY_LIBRARY ${CMAKE_BINARY_DIR}/tests/acl/empty-library)
  file(WRITE ${ACL_EMPTY_LIBRARY} "")
  add_test(NAME acl_unavailable_missing
           COMMAND ${SANDBOX} sh -c "mount --bind \"$1\" \"$2\" && exec \"$3\" --gtest_filter=AclUnavailable.*"
                   sh ${ACL_EMPTY_LIBRARY} ${KELP_SYSTEM_LIBACL_FILE} $<TARGET_FILE:acl_unavailable>)
  set_tests_properties(acl_unavailable_missing PROPERTIES TIMEOUT 600 ENVIRONMENT "${TEST_ENV}")
endif()
