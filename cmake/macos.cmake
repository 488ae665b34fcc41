# For macOS, on another system, with the compiler that scripts/macos installs: its folder is ZQM_MACOS_TOOLS, the
# processor ZQM_MACOS_PROCESSOR (arm64 or x86_64). Apple's own compiler needs no such file.
set(CMAKE_SYSTEM_NAME Darwin)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZQM_MACOS_TOOLS ZQM_MACOS_PROCESSOR)
set(CMAKE_SYSTEM_PROCESSOR ${ZQM_MACOS_PROCESSOR})
set(CMAKE_CXX_COMPILER ${ZQM_MACOS_TOOLS}/c++-${ZQM_MACOS_PROCESSOR})
set(CMAKE_AR ${ZQM_MACOS_TOOLS}/ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${ZQM_MACOS_TOOLS}/ranlib CACHE FILEPATH "")
# Nothing of the system that builds is meant for the other; headers alone are taken from where scripts/macos put them.
set(CMAKE_FIND_ROOT_PATH ${ZQM_MACOS_TOOLS}/root)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
