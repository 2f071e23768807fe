# cmake -D BUILD=folder -D PREFIX=folder -P Install.cmake: installs a build, then moves the installed tree to PREFIX.
file(REMOVE_RECURSE "${PREFIX}" "${PREFIX}-first")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}-first" COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${PREFIX}-first" "${PREFIX}")
