# The commit that is built, as twelve digits in MVSMS_COMMIT; empty where the sources are no checkout
# of their own (an archive, maybe unpacked within somebody else's checkout). Whoever builds from an
# archive and knows better gives -DMVSMS_COMMIT=... Another commit makes CMake run again.
if(MVSMS_COMMIT OR NOT EXISTS ${PROJECT_SOURCE_DIR}/.git)
  return()
endif()
find_program(MVSMS_GIT git)
if(NOT MVSMS_GIT)
  return()
endif()
execute_process(COMMAND ${MVSMS_GIT} describe --always --exclude=* --abbrev=12
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE MVSMS_COMMIT
  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT MVSMS_COMMIT)
  return()
endif()
execute_process(COMMAND ${MVSMS_GIT} rev-parse --git-path logs/HEAD
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE moves_of_head
  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
cmake_path(ABSOLUTE_PATH moves_of_head BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
if(EXISTS ${moves_of_head})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${moves_of_head})
endif()
