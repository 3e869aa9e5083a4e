# Precompiled headers, for builds that are made once, from nothing: more than half of their time goes into
# the same headers again and again. One is made for each set of headers and options, and shared.
#
# A file that forgot an include builds all the same, so one build has to go without. Clang's take half
# of the time off; GCC's hardly any.

set(standard_headers <algorithm> <array> <atomic> <chrono> <cstring> <functional> <map> <memory> <mutex>
    <optional> <span> <string> <string_view> <vector>)

# mvrp_precompile(TARGET LIBRARIES HEADER...): the standard library's headers and these, which belong to
# LIBRARIES.
function(mvrp_precompile target libraries)
    get_target_property(options ${target} COMPILE_OPTIONS)
    if(NOT options)
        set(options)
    endif()
    string(SHA1 hash "${options} ${ARGN}")
    string(SUBSTRING ${hash} 0 8 hash)
    set(holder precompiled_${hash})
    if(NOT TARGET ${holder})
        set(source ${PROJECT_BINARY_DIR}/precompiled.cpp)
        if(NOT EXISTS ${source})
            file(WRITE ${source} "")
        endif()
        add_library(${holder} OBJECT EXCLUDE_FROM_ALL ${source})
        target_link_libraries(${holder} PRIVATE mvrp_flags ${libraries})
        target_compile_options(${holder} PRIVATE ${options})
        # Without the time of day the same headers make the same file, and the compiler cache knows what was compiled with it.
        target_compile_options(${holder} PRIVATE $<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>)
        target_precompile_headers(${holder} PRIVATE ${standard_headers} ${ARGN})
    endif()
    target_precompile_headers(${target} REUSE_FROM ${holder})
endfunction()

# mvrp_precompile_folder(FOLDER LIBRARIES HEADER...): all that is compiled there and below.
function(mvrp_precompile_folder folder libraries)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(kind ${target} TYPE)
        if(kind MATCHES "EXECUTABLE|STATIC_LIBRARY|OBJECT_LIBRARY")
            mvrp_precompile(${target} "${libraries}" ${ARGN})
        endif()
    endforeach()
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(inner IN LISTS folders)
        mvrp_precompile_folder(${inner} "${libraries}" ${ARGN})
    endforeach()
endfunction()

find_package(nlohmann_json REQUIRED)
foreach(target mvrp_client mvrp_network mvrp_network_plan)
    mvrp_precompile(${target} nlohmann_json::nlohmann_json <nlohmann/json.hpp>)
endforeach()
mvrp_precompile_folder(daemon "")
mvrp_precompile_folder(platform "")
if(MVRP_TESTS)
    find_package(GTest REQUIRED)
    foreach(folder exhaustive fuzz)
        mvrp_precompile_folder(tests/${folder} "")
    endforeach()
    foreach(target mvrp_scenario mvrp-simulate)
        mvrp_precompile(${target} "")
    endforeach()
    mvrp_precompile_folder(tests/unit GTest::gtest <gtest/gtest.h>)
endif()
