# find_package(mvsms) gives mvsms::mvsms, the shared library; and mvsms::static where the libraries
# that the archive needs are found.
include(${CMAKE_CURRENT_LIST_DIR}/mvsms-targets.cmake)
find_package(OpenSSL QUIET)
find_package(SQLite3 QUIET)
find_package(Threads QUIET)
if(TARGET OpenSSL::SSL AND TARGET SQLite::SQLite3 AND TARGET Threads::Threads)
  include(${CMAKE_CURRENT_LIST_DIR}/mvsms-static.cmake)
endif()
