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

# zeka_room(<name> <sources>...): one folder of the library, an object library `zeka_room_<name>` whose objects go
# into both the shared and the static library.
function(zeka_room name)
    add_library(zeka_room_${name} OBJECT ${ARGN})
    target_include_directories(zeka_room_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_compile_options(zeka_room_${name} PRIVATE -fvisibility=hidden -fvisibility-inlines-hidden)
    target_compile_definitions(zeka_room_${name} PRIVATE ZEKA_BUILDING)
    # Who holds which lock, proved by clang in the library; tests and benchmarks look at its state without.
    target_compile_options(zeka_room_${name} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>)
    target_link_libraries(zeka_room_${name} PRIVATE zeka_flags Threads::Threads)
    set_property(GLOBAL APPEND PROPERTY ZEKA_ROOMS zeka_room_${name})
endfunction()
