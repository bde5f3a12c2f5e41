# Flags shared by every target of the project.
#
# The module is built for the SSE2 level only: x86-64's baseline, no -march.
# Exceptions and RTTI stay out of the module so that none can cross the C boundary.
add_compile_options(-Wall -Wextra -Wno-unused-parameter -ffp-contract=off -fno-fast-math)

if(ZEV_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

function(zev_module_flags target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
    -msse2 -mno-sse3 -fvisibility=hidden -fno-math-errno)
  # Calls between the module's own exports (every kernel reads the mode) bind
  # inside the module, with no PLT hop.
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  if(NOT ZEV_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined -Wl,-z,noexecstack)
  endif()
endfunction()
