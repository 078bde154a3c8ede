# Targets of the tree: a library per folder, a test program per subject.

# mvsms_library(NAME SOURCES ... LINKS ...): static library `mvsms_NAME` over the headers of the
# whole tree; LINKS names the libraries directly below.
function(mvsms_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  if(NOT ARG_SOURCES)
    add_library(mvsms_${name} INTERFACE)
    target_include_directories(mvsms_${name} INTERFACE ${PROJECT_SOURCE_DIR})
    target_link_libraries(mvsms_${name} INTERFACE ${ARG_LINKS})
    return()
  endif()
  add_library(mvsms_${name} STATIC ${ARG_SOURCES})
  target_include_directories(mvsms_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(mvsms_${name} PUBLIC ${ARG_LINKS})
endfunction()

# mvsms_version_resource(FILE TYPE ENGLISH GERMAN): version.rc in the current build folder, what Windows
# shows of the program or DLL FILE; TYPE is that of winver.h.
function(mvsms_version_resource file type english german)
  configure_file(${PROJECT_SOURCE_DIR}/resources/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/version.rc @ONLY)
endfunction()

# mvsms_keep_symbols(TARGET): the shipped file without them, and beside it FILE.debug, by which a
# debugger reads what crashed at a user's.
function(mvsms_keep_symbols target)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
    WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE_NAME:${target}> $<TARGET_FILE_NAME:${target}>.debug
    COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE_NAME:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug $<TARGET_FILE_NAME:${target}>)
endfunction()

# mvsms_prove(TEST): a Windows program that the emulator could not run at all may end with exit code
# 0, so besides that code the summary of GoogleTest is asked for.
function(mvsms_prove test)
  if(CMAKE_CROSSCOMPILING)
    set_tests_properties(${test} PROPERTIES PASS_REGULAR_EXPRESSION "\\[  PASSED  \\] [1-9]"
                         FAIL_REGULAR_EXPRESSION "\\[  FAILED  \\];Unhandled")
  endif()
endfunction()

# mvsms_test(NAME SOURCES ... LINKS ... [RUNNER ...] [SHARDS n]): GoogleTest program `NAME_test`, run by
# CTest as one test, or as that many. RUNNER is a command that prepares what the program needs around
# it and runs it; such tests run one at a time.
function(mvsms_test name)
  cmake_parse_arguments(ARG "" "SHARDS" "SOURCES;LINKS;RUNNER" ${ARGN})
  add_executable(${name}_test ${ARG_SOURCES})
  target_include_directories(${name}_test PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name}_test PRIVATE ${ARG_LINKS} mvsms_gtest_main)
  target_precompile_headers(${name}_test REUSE_FROM mvsms_test_headers)
  if(ARG_RUNNER)
    add_test(NAME ${name} COMMAND ${ARG_RUNNER} $<TARGET_FILE_NAME:${name}_test>)
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK runner)
  elseif(ARG_SHARDS)
    foreach(shard RANGE 1 ${ARG_SHARDS})
      math(EXPR index "${shard} - 1")
      add_test(NAME ${name}_${shard} COMMAND ${name}_test)
      set_tests_properties(${name}_${shard} PROPERTIES ENVIRONMENT
                           "GTEST_TOTAL_SHARDS=${ARG_SHARDS};GTEST_SHARD_INDEX=${index}")
    endforeach()
    return()
  else()
    add_test(NAME ${name} COMMAND ${name}_test)
  endif()
  mvsms_prove(${name})
endfunction()
