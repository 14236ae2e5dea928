# Unit tests sit beside their code as *_test.cpp; each top-level folder of kvdutu/ (and tests/ for
# the end-to-end cases) becomes one GoogleTest program, kvdutu_<folder>_tests.
if(WIN32)
  # Cross build: GoogleTest from Debian's sources, built with the cross compiler.
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
  set(KVDUTU_GTEST_LIBS gtest gmock)
else()
  find_package(GTest REQUIRED)
  set(KVDUTU_GTEST_LIBS GTest::gtest GTest::gmock)
  include(GoogleTest)
endif()

# Test support: a main that gives every test program a private registry folder and temporary
# folder, and small helpers shared by the suites.
file(GLOB KVDUTU_TEST_SUPPORT CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/support/*.cpp")
add_library(kvdutu_test_support STATIC ${KVDUTU_TEST_SUPPORT})
target_include_directories(kvdutu_test_support PUBLIC "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(kvdutu_test_support PUBLIC kvdutu ${KVDUTU_GTEST_LIBS})

set(KVDUTU_TEST_PROGRAMS "" CACHE INTERNAL "")

function(kvdutu_add_test_program name)
  set(files ${ARGN})
  if(NOT files)
    return()
  endif()
  add_executable(${name} ${files})
  target_link_libraries(${name} PRIVATE kvdutu_test_support)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Tests that provoke hardware faults need the same unwinding rules as the library.
    target_compile_options(${name} PRIVATE -fnon-call-exceptions)
  endif()
  if(NOT WIN32)
    # One process per test: process-wide state of the library starts fresh in every case.
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT 300)
  endif()
  set(KVDUTU_TEST_PROGRAMS ${KVDUTU_TEST_PROGRAMS} ${name} CACHE INTERNAL "")
endfunction()

file(GLOB subsystems LIST_DIRECTORIES true "${PROJECT_SOURCE_DIR}/kvdutu/*")
foreach(dir IN LISTS subsystems)
  if(NOT IS_DIRECTORY "${dir}")
    continue()
  endif()
  get_filename_component(folder "${dir}" NAME)
  file(GLOB_RECURSE tests CONFIGURE_DEPENDS "${dir}/*_test.cpp")
  if(WIN32)
    list(FILTER tests EXCLUDE REGEX "/platform/os/posix/")
  else()
    list(FILTER tests EXCLUDE REGEX "/platform/os/win32/")
  endif()
  kvdutu_add_test_program(kvdutu_${folder}_tests ${tests})
endforeach()

file(GLOB e2e CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/*_test.cpp")
kvdutu_add_test_program(kvdutu_e2e_tests ${e2e})

# Helper programs that tests start as child processes (tests/children/<name>.cpp -> <name>).
file(GLOB children CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/children/*.cpp")
foreach(child IN LISTS children)
  get_filename_component(child_name "${child}" NAME_WE)
  add_executable(${child_name} "${child}")
  target_link_libraries(${child_name} PRIVATE kvdutu_test_support)
  foreach(prog IN LISTS KVDUTU_TEST_PROGRAMS)
    add_dependencies(${prog} ${child_name})
  endforeach()
endforeach()

# Shared modules that tests load at run time (tests/modules/<name>.cpp -> <name>.dll on Windows,
# lib<name>.so beside the test programs on POSIX, as the module loader looks for them).
file(GLOB test_modules CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/modules/*.cpp")
foreach(module IN LISTS test_modules)
  get_filename_component(module_name "${module}" NAME_WE)
  add_library(${module_name} SHARED "${module}")
  target_link_libraries(${module_name} PRIVATE kvdutu)
  set_target_properties(${module_name} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  if(WIN32)
    set_target_properties(${module_name} PROPERTIES PREFIX "")
  endif()
  foreach(prog IN LISTS KVDUTU_TEST_PROGRAMS)
    add_dependencies(${prog} ${module_name})
  endforeach()
endforeach()

# The POSIX registry tests look into the hive files with SQLite itself (integrity checks).
if(NOT WIN32 AND TARGET kvdutu_platform_tests)
  find_package(SQLite3 REQUIRED)
  target_link_libraries(kvdutu_platform_tests PRIVATE SQLite::SQLite3)
endif()
