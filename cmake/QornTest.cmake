# qorn_test(NAME SOURCES ... LIBS ... LABELS ... [GUI]) - one test program; each of its tests is a ctest test.
# GUI programs get the shared main that makes a QApplication without a display and guards against Qt warnings.
include(GoogleTest)

function(qorn_test name)
  cmake_parse_arguments(ARG "GUI" "" "SOURCES;LIBS;LABELS" ${ARGN})
  qorn_executable(${name} ${ARG_SOURCES})
  if(ARG_GUI)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} qorn_gui_test_support)
  else()
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} qorn_test_support GTest::gtest_main)
  endif()
  target_compile_definitions(${name} PRIVATE
    QORN_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data" QORN_SIMULATOR="$<TARGET_FILE:qorn_simulator>")
  add_dependencies(${name} qorn_simulator)
  string(REGEX REPLACE "^qorn_(.*)_tests$" "\\1." prefix ${name})
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    TEST_PREFIX ${prefix}
    PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 300
      ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()
