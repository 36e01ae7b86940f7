# ZekaBuild.cmake - how every target of the project is compiled, and the functions by which a room or a test joins it.
include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_package(Threads REQUIRED)

# Every program of the project sees these. The bytes on the wire are reproducible to the last bit: no contraction of
# multiply and add, no processor-specific code, no fast-math.
add_library(zeka_flags INTERFACE)
target_compile_options(zeka_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
if(ZEKA_WERROR)
    target_compile_options(zeka_flags INTERFACE -Werror)
endif()
if(ZEKA_SANITIZE)
    target_compile_options(zeka_flags INTERFACE -fsanitize=${ZEKA_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer -g)
    target_link_options(zeka_flags INTERFACE -fsanitize=${ZEKA_SANITIZE})
endif()

# The library's objects are compiled without assertions where the build type says NDEBUG. The tests then get a second
# set, with them; the libraries, and the benchmarks, stay what is released.
set(ZEKA_CHECKED OFF)
if(ZEKA_BUILD_TESTS AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    set(ZEKA_CHECKED ON)
endif()

function(zeka_room_objects target)
    add_library(${target} OBJECT ${ARGN})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_compile_options(${target} PRIVATE -fvisibility=hidden -fvisibility-inlines-hidden)
    target_compile_definitions(${target} PRIVATE ZEKA_BUILDING)
    # Who holds which lock, proved by clang in the library; tests and benchmarks look at its state without.
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>)
    target_link_libraries(${target} PRIVATE zeka_flags Threads::Threads)
endfunction()

# zeka_room(<name> <sources>...): one folder of the library, an object library `zeka_room_<name>` whose objects go
# into both the shared and the static library. DATA, as the first source: nothing in it to assert.
function(zeka_room name)
    set(sources ${ARGN})
    list(REMOVE_ITEM sources DATA)
    zeka_room_objects(zeka_room_${name} ${sources})
    set_property(GLOBAL APPEND PROPERTY ZEKA_ROOMS zeka_room_${name})
    set(checked zeka_room_${name})
    if(ZEKA_CHECKED AND NOT "DATA" IN_LIST ARGN)
        set(checked zeka_room_${name}_checked)
        zeka_room_objects(${checked} ${sources})
        target_compile_options(${checked} PRIVATE -UNDEBUG)
    endif()
    set_property(GLOBAL APPEND PROPERTY ZEKA_CHECKED_ROOMS ${checked})
endfunction()
