# Compiler, flags and build helpers shared by every target.

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 14)
    message(FATAL_ERROR "g++ below 14 miscompiles coroutines silently; configure with clang++-19 (cmake --preset dev).")
endif()

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

find_program(CCACHE ccache)
if(CCACHE)
    # Precompiled headers are cached only with these sloppiness settings and without a timestamp inside.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} ${CCACHE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    endif()
endif()
find_program(MOLD mold)
if(MOLD)
    add_link_options(-fuse-ld=mold)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # libstdc++ 12's own stable_sort uses a function that it marks as deprecated.
    add_compile_options(-Wno-deprecated-declarations)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fcoroutines)
endif()
add_compile_definitions(QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)

set(KEELHAVEN_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")
if(KEELHAVEN_SANITIZE)
    add_compile_options(-fsanitize=${KEELHAVEN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=${KEELHAVEN_SANITIZE})
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    add_compile_options(-gline-tables-only)
endif()
