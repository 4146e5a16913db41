# Test programs: GoogleTest, one per library, registered with CTest.

find_package(GTest REQUIRED)

# corvane_test(name SOURCES file... LIBS target... [LABELS label...] [DISPLAY])
#   DISPLAY  the program needs a display and a session bus: CTest runs it under Xvfb and a bus of its own
function(corvane_test name)
  cmake_parse_arguments(arg "DISPLAY" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} test_support corvane_flags GTest::gtest)
  target_compile_definitions(${name} PRIVATE
    CORVANE_SOURCE_DIR="${CMAKE_SOURCE_DIR}" CORVANE_BINARY_DIR="${CMAKE_BINARY_DIR}")
  if(arg_DISPLAY)
    add_test(NAME ${name} COMMAND "${CMAKE_SOURCE_DIR}/script/with-display" $<TARGET_FILE:${name}>)
  else()
    add_test(NAME ${name} COMMAND ${name})
  endif()
  if(arg_DISPLAY AND CORVANE_SANITIZE)
    # The toolkit's libraries keep memory until the process ends; what is ours is still reported.
    set_tests_properties(${name} PROPERTIES
      ENVIRONMENT "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/lsan.supp;GDK_DEBUG=gl-disable")
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 900)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
