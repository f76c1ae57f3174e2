# Flags that every room is built with.
find_program(ZV_CCACHE ccache)
if(ZV_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${ZV_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ZV_CCACHE}")
endif()

add_library(zv_flags INTERFACE)
target_compile_options(zv_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wconversion;-Wshadow;-Wnon-virtual-dtor>)
target_include_directories(zv_flags INTERFACE "${PROJECT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}/generated")

if(WIN32)
  # The driver hands the library wide names; nothing of it may use the ANSI entry points. The
  # runtime is linked in whole, so that the DLL needs system DLLs only.
  target_compile_definitions(zv_flags INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
                             _WIN32_WINNT=0x0601)
  target_link_options(zv_flags INTERFACE -static -static-libgcc -static-libstdc++)
else()
  target_compile_definitions(zv_flags INTERFACE _FILE_OFFSET_BITS=64)
endif()

if(ZV_SANITIZE)
  add_compile_options(-fsanitize=${ZV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # A sanitizer looks libraries up in our stead: only the older form of a run path counts then.
  add_link_options(-fsanitize=${ZV_SANITIZE} -Wl,--disable-new-dtags)
endif()

if(ZV_BUILD_FUZZERS)
  # Every room tells the fuzzer which of its branches an input took.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fsanitize=fuzzer-no-link>)
endif()

if(ZV_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# zv_add_room(<target> SOURCES ... LIBS ...): one room as a static library.
function(zv_add_room target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${target} STATIC ${ARG_SOURCES})
  target_link_libraries(${target} PUBLIC zv_flags ${ARG_LIBS})
endfunction()
