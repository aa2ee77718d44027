# How every target of this project is compiled, in one place.

# The arithmetic is part of the contract: no multiply-add contraction, whatever the compiler's default.
function(veko2_compile_options target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_compile_options(${target} PRIVATE
        -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
        $<$<BOOL:${VEKO2_WARNINGS_AS_ERRORS}>:-Werror>)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
endfunction()

# veko2_add_library(<name> <SHARED|STATIC> SOURCES ... PUBLIC_HEADERS ... PRIVATE_HEADERS ...)
#
# Makes library Veko2_<name> with the alias Veko2::<name>. Paths are relative to the calling folder.
# The public headers are recorded by their path from the repository's root: in the global property
# VEKO2_PUBLIC_HEADERS, which the tests compile one by one, and those of a shared library, which are
# installed, in VEKO2_INSTALLED_HEADERS too.
function(veko2_add_library name kind)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "SOURCES;PUBLIC_HEADERS;PRIVATE_HEADERS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "veko2_add_library(${name}): unexpected ${arg_UNPARSED_ARGUMENTS}")
    endif()
    set(target Veko2_${name})
    add_library(${target} ${kind} ${arg_SOURCES} ${arg_PUBLIC_HEADERS} ${arg_PRIVATE_HEADERS})
    add_library(Veko2::${name} ALIAS ${target})
    veko2_compile_options(${target})
    # What the fuzzer watches, to find inputs that lead somewhere new.
    target_compile_options(${target} PRIVATE $<$<BOOL:${VEKO2_BUILD_FUZZ}>:-fsanitize=fuzzer-no-link>)
    if(kind STREQUAL "SHARED")
        # A symbol that g++ makes unique in the process would keep the library loaded for ever.
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    endif()
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
        INSTALL_RPATH $ORIGIN)
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/veko2>)
    foreach(header IN LISTS arg_PUBLIC_HEADERS)
        file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${header})
        set_property(GLOBAL APPEND PROPERTY VEKO2_PUBLIC_HEADERS ${path})
        if(kind STREQUAL "SHARED")
            set_property(GLOBAL APPEND PROPERTY VEKO2_INSTALLED_HEADERS ${path})
        endif()
    endforeach()
endfunction()
