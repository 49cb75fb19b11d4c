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

# A fuzzing build instruments every library, so the fuzzers are guided by the coverage of the
# platform code they call, not only by their own few lines.
if(EDITOR_BUILD_FUZZ)
  target_compile_options(editor_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined)
  target_link_options(editor_options INTERFACE -fsanitize=address,undefined)
endif()

# Programs (never libraries) add this, so a sanitizer build knows the leaks that are not ours.
function(editor_sanitizer_defaults target)
  if(EDITOR_SANITIZE)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/lsan_suppressions.cpp)
  endif()
endfunction()

# Each platform folder is one shared library (libEditor<Name>.so) with hidden visibility and a
# generated export header, <name>_export.h with <NAME>_EXPORT, that marks what other libraries may
# call. Being shared, every singleton of the platform (dispatcher, tracker, paths) exists once in a
# process however many libraries and programs use it.
include(GenerateExportHeader)
function(editor_platform_library name)
  add_library(${name} SHARED ${ARGN})
  string(TOLOWER ${name} lowerName)
  generate_export_header(${name}
    BASE_NAME ${lowerName}
    EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/${lowerName}_export.h)
  set_target_properties(${name} PROPERTIES
    OUTPUT_NAME Editor${name}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${name} PRIVATE editor_options)
  editor_include_root(${name} PUBLIC)
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_BINARY_DIR})
  set_property(GLOBAL APPEND PROPERTY EDITOR_PLATFORM_LIBRARIES ${name})
endfunction()

# A platform folder of headers only (vocabularies, plain models): an INTERFACE library with the
# same include root of its own.
function(editor_header_library name)
  add_library(${name} INTERFACE ${ARGN})
  editor_include_root(${name} INTERFACE)
  set_property(GLOBAL APPEND PROPERTY EDITOR_PLATFORM_LIBRARIES ${name})
endfunction()

# Each library's include root holds its own folder and nothing else (a link to the sources, made
# at configure time), so "media/mediaprobe.h" compiles only in a target that links Media, directly
# or through a PUBLIC link: a layering slip is a compile error, not a habit. The includes keep
# their "folder/header.h" spelling, and no header moves.
function(editor_include_root name visibility)
  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set(root ${PROJECT_BINARY_DIR}/include/${name})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${folder} SYMBOLIC)
  target_include_directories(${name} ${visibility} ${root})
endfunction()
