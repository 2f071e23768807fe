# cmake -D PRESET=name -P cmake/BuildPreset.cmake: configures and builds a preset.
foreach(step IN ITEMS --preset "--build;--preset")
    execute_process(COMMAND "${CMAKE_COMMAND}" ${step} "${PRESET}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
