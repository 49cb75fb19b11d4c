# Every target links editor_options: warnings, Qt string hygiene and sanitizers live here and
# nowhere else, so a flag is changed in one place for the whole tree.
add_library(editor_options INTERFACE)
target_compile_options(editor_options INTERFACE
  -Wall -Wextra -Wpedantic -Wno-unused-parameter
  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
target_compile_definitions(editor_options INTERFACE
  QT_NO_CAST_FROM_BYTEARRAY
  QT_USE_QSTRINGBUILDER
  QT_NO_FOREACH
  QT_DEPRECATED_WARNINGS_SINCE=0x050F00)
if(EDITOR_SANITIZE)
  target_compile_options(editor_options INTERFACE
    -fsanitize=${EDITOR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(editor_options INTERFACE -fsanitize=${EDITOR_SANITIZE})
endif()

# Programs (never libraries) add this, so a sanitizer build knows the leaks that are not ours.
function(editor_sanitizer_defaults target)
  if(EDITOR_SANITIZE)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/lsan_suppressions.cpp)
  endif()
endfunction()

# Each platform folder is one object library; platform/CMakeLists.txt gathers them into the static
# library `Platform`. The layer links that archive whole and re-exports it, so every singleton
# (dispatcher, tracker, paths) exists once in the process although the shell and the layer both
# call it. Platform tests link `Platform` directly and get only the objects they use.
function(editor_platform_library name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE editor_options)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/platform)
  set_property(GLOBAL APPEND PROPERTY EDITOR_PLATFORM_LIBRARIES ${name})
endfunction()
