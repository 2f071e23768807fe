# The other presets as tests of the release build: each is configured and built by one test and tested by the next,
# so that one ctest run tells about everything. They keep all cores busy by themselves and run one at a time, after
# the tests of the release build.
find_program(ZUMRA_NPROC nproc REQUIRED)
execute_process(COMMAND "${ZUMRA_NPROC}" OUTPUT_VARIABLE zumra_cores OUTPUT_STRIP_TRAILING_WHITESPACE)

function(zumra_matrix_test name)
    add_test(NAME ${name} COMMAND ${ARGN} WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
    set_tests_properties(${name} PROPERTIES LABELS matrix RUN_SERIAL ON COST -1 TIMEOUT 2400)
endfunction()

function(zumra_matrix_build preset)
    zumra_matrix_test(${preset}-build "${CMAKE_COMMAND}" -D PRESET=${preset} -P cmake/BuildPreset.cmake)
    set_tests_properties(${preset}-build PROPERTIES FIXTURES_SETUP ${preset})
endfunction()

function(zumra_matrix_run preset)
    zumra_matrix_test(${preset} "${CMAKE_CTEST_COMMAND}" --preset ${preset} --parallel ${zumra_cores})
    set_tests_properties(${preset} PROPERTIES FIXTURES_REQUIRED ${preset})
endfunction()

foreach(preset IN ITEMS asan tsan armhf fuzz)
    zumra_matrix_build(${preset})
    zumra_matrix_run(${preset})
endforeach()
zumra_matrix_build(clang)

# clang-tidy reads how the clang build compiles each file.
find_program(ZUMRA_RUN_CLANG_TIDY NAMES run-clang-tidy-14 run-clang-tidy REQUIRED)
zumra_matrix_test(clang-tidy unittests/build/clang_tidy.sh "${ZUMRA_RUN_CLANG_TIDY}" build-clang)
set_tests_properties(clang-tidy PROPERTIES FIXTURES_REQUIRED clang)

find_package(Python3 REQUIRED COMPONENTS Interpreter)

# Clang's analysis of locks is switched on where it says so, and refuses what it should.
zumra_matrix_test(clang-lock-annotations "${Python3_EXECUTABLE}" -B unittests/build/lock_annotations.py . build-clang)
set_tests_properties(clang-lock-annotations PROPERTIES FIXTURES_REQUIRED clang)

# A soak mostly waits: it runs beside the first tests, on one core.
add_test(NAME soak COMMAND "${Python3_EXECUTABLE}" -B unittests/soak/soak.py "$<TARGET_FILE:zumra-settingsd>"
                           "$<TARGET_FILE:zumra-settings-program>" 120 WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
set_tests_properties(soak PROPERTIES LABELS matrix COST 1000 TIMEOUT 900)
