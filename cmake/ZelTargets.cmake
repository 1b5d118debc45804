# Compiler settings shared by every target of the project's own code.
#
# They go on the targets, never on the directory: when the project is pulled
# into another build (add_subdirectory, FetchContent), the parent's targets and
# flags stay as the parent set them.

# zel_project_warnings(<target>): the settings every target of ours gets: the
# language level, hidden visibility, position-independent code (a static build
# can still go into a consumer's shared library), the sanitizers of the build,
# and the warning set, as errors when ZEL_WARNINGS_AS_ERRORS is on. Third-party
# headers are included as system headers, so only our code is held to it.
function(zel_project_warnings target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(ZEL_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${ZEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${ZEL_SANITIZE})
  endif()
  if(ZEL_BUILD_FUZZERS)
    # Everything is instrumented for coverage; only the fuzz targets link the
    # libFuzzer driver.
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-align -Wimplicit-fallthrough -Wmissing-declarations)
  if(ZEL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
