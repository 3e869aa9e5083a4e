# How the tests of a GoogleTest program become those of ctest: one each, so that `ctest -R NAME` finds it; or, for a
# run of everything, one for the whole program. Under a sanitizer it takes a program longer to begin than most tests run.

option(MVRP_WHOLE_PROGRAMS "A test of ctest for each program, in place of one for each of its tests" OFF)
include(GoogleTest)

# mvrp_test_program(TARGET [PREFIX TEXT] [LABEL NAME] [SHARDS COUNT] [COST SECONDS])
#   PREFIX  of the tests' names
#   LABEL   of the tests
#   SHARDS  whole programs: how many run a part each, side by side; for tests that take long, or wait
#   COST    whole programs: those of a higher one begin first; about what a shard takes
function(mvrp_test_program target)
    cmake_parse_arguments(PARSE_ARGV 1 with "" "PREFIX;LABEL;SHARDS;COST" "")
    set(properties TIMEOUT 300)
    if(with_LABEL)
        list(APPEND properties LABELS ${with_LABEL})
    endif()
    if(NOT MVRP_WHOLE_PROGRAMS)
        gtest_discover_tests(${target} TEST_PREFIX "${with_PREFIX}" PROPERTIES ${properties})
        return()
    endif()
    if(NOT with_SHARDS)
        set(with_SHARDS 1)
    endif()
    if(with_COST)
        list(APPEND properties COST ${with_COST})
    endif()
    math(EXPR last "${with_SHARDS} - 1")
    foreach(shard RANGE ${last})
        add_test(NAME program.${target}.${shard} COMMAND ${target})
        set_tests_properties(program.${target}.${shard} PROPERTIES ${properties}
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${with_SHARDS};GTEST_SHARD_INDEX=${shard}")
    endforeach()
endfunction()
