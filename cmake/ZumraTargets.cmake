# A layer is one folder below src/, compiled once; libraries and tests are put together from layers.
# A new file in a folder needs no edit here.
function(zumra_layer name folder)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/src/${folder}/*.cpp")
    add_library(zumra-${name}-objects OBJECT ${sources})
    target_include_directories(zumra-${name}-objects PUBLIC "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/src")
    target_link_libraries(zumra-${name}-objects PUBLIC Threads::Threads)
endfunction()

# One test program for one folder below unittests/, linked with the objects of the layers that it needs, so that
# it reaches what the libraries hide.
function(zumra_unit_test folder)
    cmake_parse_arguments(arg "" "" "LAYERS;LIBRARIES" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp")
    if(NOT sources)
        return()
    endif()
    add_executable(unit-${folder} ${sources})
    foreach(layer IN LISTS arg_LAYERS)
        target_link_libraries(unit-${folder} PRIVATE zumra-${layer}-objects)
    endforeach()
    target_include_directories(unit-${folder} PRIVATE "${CMAKE_SOURCE_DIR}/unittests" "${CMAKE_SOURCE_DIR}/tests")
    target_link_libraries(unit-${folder} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
    add_test(NAME unit-${folder} COMMAND unit-${folder})
    set_tests_properties(unit-${folder} PROPERTIES LABELS unit TIMEOUT 600)
endfunction()

# zumra_dashed_name(IniReaderFuzz Fuzz result): ini-reader.
function(zumra_dashed_name name suffix result)
    string(REGEX REPLACE "${suffix}$" "" name "${name}")
    string(REGEX REPLACE "([a-z0-9])([A-Z])" "\\1-\\2" name "${name}")
    string(TOLOWER "${name}" name)
    set(${result} "${name}" PARENT_SCOPE)
endfunction()
