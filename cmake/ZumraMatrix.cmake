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

# clang-tidy reads how the clang build compiles each file.
find_program(ZUMRA_RUN_CLANG_TIDY NAMES run-clang-tidy-14 run-clang-tidy REQUIRED)
add_test(NAME clang-tidy COMMAND "${ZUMRA_RUN_CLANG_TIDY}" -quiet -p build-clang -j ${zumra_cores} "/(src|apps)/"
         WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
set_tests_properties(clang-tidy PROPERTIES FIXTURES_REQUIRED clang LABELS matrix RUN_SERIAL ON TIMEOUT 2400)
