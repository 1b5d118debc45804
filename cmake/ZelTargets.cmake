# Compiler settings shared by every target of the project's own code.

# zel_project_warnings(<target>): the warning set, as errors unless
# ZEL_WARNINGS_AS_ERRORS is off. Third-party headers are included as system
# headers, so only our code is held to it.
function(zel_project_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-align -Wimplicit-fallthrough -Wmissing-declarations)
  if(ZEL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
