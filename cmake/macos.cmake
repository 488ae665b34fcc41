# For macOS, on another system, by the compiler and headers that scripts/macos puts into ZQM_MACOS_TOOLS; for the
# processor ZQM_MACOS_PROCESSOR, arm64 or x86_64. Apple's own compiler needs no such file.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZQM_MACOS_TOOLS ZQM_MACOS_PROCESSOR)
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${ZQM_MACOS_PROCESSOR})
set(CMAKE_OSX_DEPLOYMENT_TARGET 13.0 CACHE STRING "Oldest system that the programs run on")
set(CMAKE_CXX_COMPILER ${ZQM_MACOS_TOOLS}/c++-${ZQM_MACOS_PROCESSOR})
set(CMAKE_AR ${ZQM_MACOS_TOOLS}/ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${ZQM_MACOS_TOOLS}/ranlib CACHE FILEPATH "")
# Of what links, this alone writes entitlements into the signature.
set(CMAKE_CXX_LINK_EXECUTABLE "${ZQM_MACOS_TOOLS}/link-${ZQM_MACOS_PROCESSOR} <OBJECTS> <LINK_LIBRARIES> -dead_strip \
--entitlements ${CMAKE_CURRENT_LIST_DIR}/../packaging/macos/entitlements.plist -femit-bin=<TARGET>")
# Nothing of the system that builds is meant for the other.
set(CMAKE_FIND_ROOT_PATH ${ZQM_MACOS_TOOLS}/root)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
