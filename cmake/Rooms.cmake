# One static library a room. What a room links is what it may include; the arrows are tested in tests/Architecture.

# The precompiled header is made once, by keelhaven_precompiled, and reused by every room and test.
# keelhaven_room(<Name> DIR <folder below src> SOURCES … [LINKS …])
function(keelhaven_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
    add_library(keelhaven_${name} STATIC ${ROOM_SOURCES})
    target_include_directories(keelhaven_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(keelhaven_${name} PUBLIC keelhaven_base ${ROOM_LINKS})
    set_target_properties(keelhaven_${name} PROPERTIES AUTOMOC ON)
    if(NOT name STREQUAL "precompiled")
        target_precompile_headers(keelhaven_${name} REUSE_FROM keelhaven_precompiled)
    endif()
endfunction()

# keelhaven_program(<name> SOURCES … LINKS …): an executable in <build>/bin.
function(keelhaven_program name)
    cmake_parse_arguments(PROGRAM "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${PROGRAM_SOURCES})
    target_link_libraries(${name} PRIVATE ${PROGRAM_LINKS})
    target_precompile_headers(${name} REUSE_FROM keelhaven_precompiled)
endfunction()
