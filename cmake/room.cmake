# The library is made of rooms: folders whose object files go, all together,
# into libzylqx.so and libzylqx.a.

include(GNUInstallDirs)

# Every file of the library is compiled with these. Floating point is never
# contracted, so that every instruction level gives the same bits.
add_library(zylqx_flags INTERFACE)
target_compile_options(zylqx_flags INTERFACE -ffp-contract=off -fno-exceptions -fno-rtti)
# The x87 unit does not round at every step; 32-bit compilers use it unless told.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86|x86_64|AMD64|i.86)$" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_options(zylqx_flags INTERFACE -msse2 -mfpmath=sse)
endif()
# Clang would warn of every loop that it cannot vectorise; such a loop is slower,
# not wrong.
target_compile_options(zylqx_flags INTERFACE $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wno-pass-failed>)
target_include_directories(zylqx_flags INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_compile_definitions(zylqx_flags INTERFACE ZYL_BUILD)

# Processors with more instructions than the baseline get their own kernels.
if(DEFINED ZYLQX_LEVELS)
  message(STATUS "Instruction levels: ${ZYLQX_LEVELS}")
elseif((CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64" AND CMAKE_SIZEOF_VOID_P EQUAL 8)
    OR (WIN32 AND CMAKE_SYSTEM_PROCESSOR MATCHES "i.86"))
  set(ZYLQX_LEVELS baseline avx2 avx512)
else()
  set(ZYLQX_LEVELS baseline)
endif()
if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Callers align the stack by 4 bytes only.
  target_compile_options(zylqx_flags INTERFACE -mstackrealign)
elseif(WIN32)
  # GCC takes the stack to be aligned for long vectors, where Windows promises 16
  # bytes; the assembler turns its aligned moves into unaligned ones.
  target_compile_options(zylqx_flags INTERFACE -Wa,-muse-unaligned-vector-move)
endif()
set(ZYLQX_FLAGS_baseline "")
set(ZYLQX_FLAGS_avx2 -mavx2 -mbmi -mbmi2 -mlzcnt -mpopcnt)
set(ZYLQX_FLAGS_avx512 ${ZYLQX_FLAGS_avx2} -mavx512f -mavx512bw -mavx512dq -mavx512vl)
list(LENGTH ZYLQX_LEVELS ZYLQX_LEVEL_COUNT)
target_compile_definitions(zylqx_flags INTERFACE ZYLQX_LEVEL_COUNT=${ZYLQX_LEVEL_COUNT})

function(zylqx_objects target)
  add_library(${target} OBJECT ${ARGN})
  target_link_libraries(${target} PRIVATE zylqx_flags)
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  set_property(GLOBAL APPEND PROPERTY ZYLQX_OBJECTS $<TARGET_OBJECTS:${target}>)
endfunction()

# zylqx_room(NAME SOURCES... [KERNELS SOURCES...]): one folder of the library.
# The files after KERNELS are compiled once per level, each time with
# ZYLQX_LEVEL naming the namespace.
function(zylqx_room name)
  cmake_parse_arguments(ROOM "" "" "KERNELS" ${ARGN})
  zylqx_objects(zylqx_${name} ${ROOM_UNPARSED_ARGUMENTS})
  if(NOT ROOM_KERNELS)
    return()
  endif()
  foreach(level IN LISTS ZYLQX_LEVELS)
    set(target zylqx_${name}_${level})
    zylqx_objects(${target} ${ROOM_KERNELS})
    target_compile_definitions(${target} PRIVATE ZYLQX_LEVEL=${level})
    target_compile_options(${target} PRIVATE ${ZYLQX_FLAGS_${level}}
      # A loop that Clang cannot vectorise, GCC may: slower is not wrong.
      $<$<CXX_COMPILER_ID:Clang>:-Wno-pass-failed>)
    set_property(GLOBAL APPEND PROPERTY ZYLQX_KERNEL_OBJECTS $<TARGET_OBJECTS:${target}>)
    if(CMAKE_BUILD_TYPE MATCHES "Rel")
      target_compile_options(${target} PRIVATE -O3)
    endif()
  endforeach()
endfunction()

# The two libraries, from the objects of every room. The shared one exports the
# interface alone and needs the C library alone: the compiler's own routines, which
# some processors ask for, are linked in.
function(zylqx_library)
  get_property(objects GLOBAL PROPERTY ZYLQX_OBJECTS)
  add_library(zylqx SHARED ${objects})
  add_library(zylqx_static STATIC ${objects})
  add_library(zylqx::zylqx ALIAS zylqx)
  add_library(zylqx::zylqx_static ALIAS zylqx_static)
  foreach(target zylqx zylqx_static)
    target_include_directories(${target} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME zylqx)
    if(UNIX)
      target_link_libraries(${target} PRIVATE m)
    endif()
  endforeach()
  target_compile_definitions(zylqx_static INTERFACE ZYL_STATIC)
  if(WIN32)
    # zylqx.dll, beside which no run-time library of the compiler has to lie.
    set_target_properties(zylqx PROPERTIES PREFIX "")
    target_link_options(zylqx PRIVATE -static)
    target_sources(zylqx PRIVATE ${PROJECT_SOURCE_DIR}/platform/dll.cpp)
    target_link_libraries(zylqx PRIVATE zylqx_flags)
  endif()
  set_target_properties(zylqx PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  if(UNIX AND NOT APPLE)
    set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(zylqx PRIVATE -static-libgcc LINKER:--as-needed LINKER:--version-script=${exports})
    set_target_properties(zylqx PROPERTIES LINK_DEPENDS ${exports})
  endif()
endfunction()
