# What every target of this project has in common. Everything is set on the target, so that an
# outer project that adds this one keeps its own flags and output folders.
function(ksproxy_configure_target target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_compile_definitions(${target} PRIVATE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_KEYWORDS
    QT_NO_FOREACH
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_DISABLE_DEPRECATED_BEFORE=0x050F00)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align
    -Wdouble-promotion -Wformat=2 -Wundef -Wzero-as-null-pointer-constant
    # Else moc's code alone describes a QObject, and abidw leaves out what the other code defines of it.
    $<$<CXX_COMPILER_ID:GNU>:-femit-class-debug-always>
    # Clang counts Qt's qCDebug as an extension of the language.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
  set_target_properties(${target} PROPERTIES
    AUTOMOC ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON
    BUILD_RPATH_USE_ORIGIN ON
    RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin"
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib"
    ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
  if(KSPROXY_SANITIZE)
    set(flags -fsanitize=${KSPROXY_SANITIZE} -fno-omit-frame-pointer)
    if(KSPROXY_SANITIZE MATCHES "undefined")
      list(APPEND flags -fno-sanitize-recover=undefined)
    endif()
    target_compile_options(${target} PRIVATE ${flags})
    target_link_options(${target} PRIVATE ${flags})
  endif()
  if(KSPROXY_COVERAGE)
    # Atomic, or the counts of code that several threads run come out wrong, even negative.
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()

# The same for what only tests: built to be built fast, since what it tests is another target, and
# what covers is not itself to be covered. The headers that nearly all of them include are compiled
# once, in ksproxytestsupport.
function(ksproxy_configure_test_target target)
  ksproxy_configure_target(${target})
  if(KSPROXY_SANITIZE OR KSPROXY_COVERAGE)
    target_compile_options(${target} PRIVATE -O0 -g1)
  else()
    target_compile_options(${target} PRIVATE -O1 -g1)
  endif()
  if(KSPROXY_COVERAGE)
    target_compile_options(${target} PRIVATE -fno-profile-arcs -fno-test-coverage)
  endif()
  if(NOT target STREQUAL "ksproxytestsupport")
    target_precompile_headers(${target} REUSE_FROM ksproxytestsupport)
  endif()
  # Nearly empty: reading the compiled headers would take far longer than compiling it.
  set_source_files_properties(
    "${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/mocs_compilation.cpp"
    PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# The export header of a library: <name>_export.h with <NAME>_EXPORT, beside the library's own
# headers for whoever includes them.
function(ksproxy_export_header target name)
  generate_export_header(${target} BASE_NAME ${name}
    EXPORT_FILE_NAME "${CMAKE_CURRENT_BINARY_DIR}/include/${name}_export.h")
  set_target_properties(${target} PROPERTIES
    KSPROXY_EXPORT_HEADER "${CMAKE_CURRENT_BINARY_DIR}/include/${name}_export.h")
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>"
    "$<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ksproxy>")
endfunction()

# A shared library of this project with its KsProxy:: alias, which exports what abi/ lists for it.
function(ksproxy_add_library target alias)
  add_library(${target} SHARED ${ARGN})
  add_library(KsProxy::${alias} ALIAS ${target})
  ksproxy_configure_target(${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${alias}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS "${PROJECT_SOURCE_DIR}/abi/lib${target}.map")
  # Never unloaded, not even with a plugin that brought it: it leaves things behind that point into it.
  target_link_options(${target} PRIVATE
    "LINKER:--version-script=${PROJECT_SOURCE_DIR}/abi/lib${target}.map" LINKER:-z,nodelete)
endfunction()
