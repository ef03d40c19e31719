include("${CMAKE_CURRENT_LIST_DIR}/torveTargets.cmake")
