# Cross-compilation for Windows with MinGW-w64, of the architecture that the including file names.
# The "posix" thread model is the one with std::thread and std::mutex; everything is linked
# statically, so that a program or DLL needs system DLLs only.
set(CMAKE_SYSTEM_NAME Windows)
set(MVSMS_MINGW ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_C_COMPILER ${MVSMS_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${MVSMS_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${MVSMS_MINGW}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${MVSMS_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run.sh)
