# One interface target holds the warnings and the sanitizers; qorn_library() links it into every target of ours.

add_library(qorn_compiler INTERFACE)
target_compile_options(qorn_compiler INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
if(QORN_WARNINGS_AS_ERRORS)
  target_compile_options(qorn_compiler INTERFACE -Werror)
endif()
target_compile_definitions(qorn_compiler INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_KEYWORDS QT_NO_FOREACH)

if(QORN_SANITIZE)
  add_compile_options(-fsanitize=${QORN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QORN_SANITIZE})
endif()
if(QORN_SANITIZE MATCHES address)
  add_library(qorn_leak_check OBJECT ${CMAKE_CURRENT_LIST_DIR}/LeakCheck.cpp)
  target_link_libraries(qorn_leak_check PRIVATE qorn_compiler)
endif()

find_program(QORN_CCACHE ccache)
if(QORN_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QORN_CCACHE})
endif()

# qorn_library(NAME SOURCES... ) - a static library of ours whose public include folder is the current one.
# More include folders and link libraries are added by the caller.
function(qorn_library name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE qorn_compiler)
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
endfunction()

# qorn_executable(NAME SOURCES...) - a program of ours, with the same warnings.
function(qorn_executable name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE qorn_compiler $<TARGET_NAME_IF_EXISTS:qorn_leak_check>)
endfunction()
