# Shared build rules of Tarnel's targets.

function(tarnel_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow=local
    -Wnon-virtual-dtor -Wno-missing-field-initializers
    # g++ 12 reports these falsely for std::optional and std::string at -O2 and above.
    -Wno-maybe-uninitialized -Wno-restrict)
  # Standard library code read from a precompiled header is no system header to g++'s
  # flow-based warnings, which then report their known false positives in std::string. A
  # build with TARNEL_PRECOMPILED_HEADERS=OFF keeps them.
  if(TARNEL_PRECOMPILED_HEADERS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overflow)
  endif()
  if(TARNEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Adds every folder below the current one that has a CMakeLists.txt.
function(tarnel_add_subdirectories)
  file(GLOB dirs LIST_DIRECTORIES true ${CMAKE_CURRENT_SOURCE_DIR}/*)
  foreach(dir ${dirs})
    if(IS_DIRECTORY ${dir} AND EXISTS ${dir}/CMakeLists.txt)
      add_subdirectory(${dir})
    endif()
  endforeach()
endfunction()

function(tarnel_add_optional_subdirectory dir)
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/CMakeLists.txt)
    add_subdirectory(${dir})
  endif()
endfunction()

# tarnel_precompile(target HEADER): precompiles cmake/pch/HEADER into the target's units.
function(tarnel_precompile target header)
  if(TARNEL_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/pch/${header})
  endif()
endfunction()

# tarnel_module(Name [DEPS ...] [PRIVATE_DEPS ...])
# A module is one static library built from every source file below its folder.
function(tarnel_module name)
  cmake_parse_arguments(ARG "" "" "DEPS;PRIVATE_DEPS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  tarnel_warnings(${name})
  # A precompiled header costs about as much as two units: it pays from a handful on.
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  list(LENGTH sources unit_count)
  if(unit_count GREATER_EQUAL 6)
    tarnel_precompile(${name} Core.h)
  endif()
endfunction()

# Test programs are never timed (benchmarks live under bench/), and their code is mostly
# assertions; optimising it was most of their compile time. The libraries they test keep the
# build type's optimisation.
function(tarnel_unoptimised target)
  target_compile_options(${target} PRIVATE -O0)
endfunction()

# tarnel_test(Module Name SOURCES ... [LIBS ...] [ENV ...] [TIMEOUT s] [RUN_SERIAL])
# One GoogleTest executable registered with CTest under the module's label.
function(tarnel_test module name)
  cmake_parse_arguments(ARG "RUN_SERIAL" "TIMEOUT" "SOURCES;LIBS;ENV" ${ARGN})
  set(target test_${module}_${name})
  add_executable(${target} ${ARG_SOURCES})
  if(TARGET ${module})
    get_target_property(module_type ${module} TYPE)
    if(module_type MATCHES "LIBRARY")
      target_link_libraries(${target} PRIVATE ${module})
    endif()
  endif()
  target_link_libraries(${target} PRIVATE ${ARG_LIBS} tarnel_test_support GTest::gtest GTest::gmock)
  tarnel_warnings(${target})
  tarnel_unoptimised(${target})
  # Programs on Qt are built position-independent, which the shared header is not.
  if(TARGET tarnel_test_pch AND NOT "${ARG_LIBS}" MATCHES "Qt6|TarnelGui")
    target_precompile_headers(${target} REUSE_FROM tarnel_test_pch)
  endif()
  add_test(NAME ${module}.${name} COMMAND ${target})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  set_tests_properties(${module}.${name} PROPERTIES LABELS ${module} TIMEOUT ${ARG_TIMEOUT}
    ENVIRONMENT "TARNEL_SOURCE_DIR=${PROJECT_SOURCE_DIR};TARNEL_BINARY_DIR=${PROJECT_BINARY_DIR};${ARG_ENV}")
  if(ARG_RUN_SERIAL)
    set_tests_properties(${module}.${name} PROPERTIES RUN_SERIAL TRUE)
  endif()
endfunction()
