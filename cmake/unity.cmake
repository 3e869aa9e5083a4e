# The sources of a folder compiled as one, for builds that are made once, from nothing: what they include is read
# once then, which is most of the time. Files of one folder have one subject, so names that only a file knows seldom
# meet; where they do, a file is compiled by itself. So is one that needs more of a program than its neighbours, which
# come out of the library together with it.
#
# A file that forgot an include builds all the same, so one build has to go without, as with precompiled headers.

set(compiled_alone cli/commands platform/requests platform/runtime/tasks
    cli/doctor/repair.cpp cli/help/manual.cpp cli/shell/everywhere.cpp cli/shell/split.cpp cli/snapshot/refused.cpp
    cli/status/text.cpp network/map/page.cpp network/show/text.cpp platform/config/reload/reload_check.cpp
    platform/replication/standby_link.cpp platform/virtual/network/port_view.cpp platform/wire/events.cpp)

# mvrp_unite(TARGET): its sources, a folder at a time.
function(mvrp_unite target)
    get_target_property(sources ${target} SOURCES)
    get_target_property(place ${target} SOURCE_DIR)
    foreach(source IN LISTS sources)
        get_filename_component(path ${source} ABSOLUTE BASE_DIR ${place})
        file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${path})
        get_filename_component(folder ${path} DIRECTORY)
        if(path MATCHES "^[a-z].*[.]cpp$" AND NOT folder IN_LIST compiled_alone
           AND NOT path IN_LIST compiled_alone)
            string(MAKE_C_IDENTIFIER "${folder}" group)
            set_source_files_properties(${PROJECT_SOURCE_DIR}/${path} TARGET_DIRECTORY ${target}
                                        PROPERTIES UNITY_GROUP ${group})
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    # GCC takes every file but the outermost for a header, in which a member of a file's own type would be a fault.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

# mvrp_unite_folder(FOLDER): all that is compiled there and below.
function(mvrp_unite_folder folder)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(kind ${target} TYPE)
        if(kind MATCHES "EXECUTABLE|STATIC_LIBRARY|OBJECT_LIBRARY")
            mvrp_unite(${target})
        endif()
    endforeach()
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(inner IN LISTS folders)
        mvrp_unite_folder(${inner})
    endforeach()
endfunction()

foreach(folder platform cli exporter network plan)
    mvrp_unite_folder(${folder})
endforeach()
# Tests take parts of the daemon that need no platform, and have none.
if(NOT MVRP_TESTS)
    mvrp_unite_folder(daemon)
endif()
