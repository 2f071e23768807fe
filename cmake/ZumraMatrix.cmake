# The other presets as tests of the release build: each is configured and built by one test and tested by the next,
# so that one ctest run tells about everything. They keep all cores busy by themselves and run one at a time.
find_program(ZUMRA_NPROC nproc REQUIRED)
execute_process(COMMAND "${ZUMRA_NPROC}" OUTPUT_VARIABLE zumra_cores OUTPUT_STRIP_TRAILING_WHITESPACE)

function(zumra_matrix_build preset)
    add_test(NAME ${preset}-build COMMAND "${CMAKE_COMMAND}" -D PRESET=${preset} -P cmake/BuildPreset.cmake
             WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
    set_tests_properties(${preset}-build PROPERTIES FIXTURES_SETUP ${preset} LABELS matrix RUN_SERIAL ON TIMEOUT 2400)
endfunction()

function(zumra_matrix_test preset)
    add_test(NAME ${preset} COMMAND "${CMAKE_CTEST_COMMAND}" --preset ${preset} --parallel ${zumra_cores}
             WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
    set_tests_properties(${preset} PROPERTIES FIXTURES_REQUIRED ${preset} LABELS matrix RUN_SERIAL ON TIMEOUT 2400)
endfunction()

foreach(preset IN ITEMS asan tsan armhf)
    zumra_matrix_build(${preset})
    zumra_matrix_test(${preset})
endforeach()
zumra_matrix_build(clang)
