# Shared build rules of Tarnel's targets.

function(tarnel_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow=local
    -Wnon-virtual-dtor -Wno-missing-field-initializers
    # g++ 12 reports these falsely for std::optional and std::string at -O2 and above.
    -Wno-maybe-uninitialized -Wno-restrict)
  if(TARNEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

function(tarnel_add_optional_subdirectory dir)
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/CMakeLists.txt)
    add_subdirectory(${dir})
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
