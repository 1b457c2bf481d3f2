# Flags shared by the library, its tests, benchmarks and examples.
#
# Results of the colour, normal, point and frame arithmetic are defined to the
# last bit, so no contraction into fused multiply-add may happen anywhere.
# GCC 12's SLP vectoriser also drops float roundings that sit beside each other
# (for example (double)(float)cos(h) next to (double)(float)sin(h)), so it is
# switched off for GCC; the points tests guard against its return.
add_compile_options(-ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-fno-tree-slp-vectorize)
endif()
add_compile_options(-Wall -Wextra -Wpedantic)
if(LXBASE_WERROR)
  add_compile_options(-Werror)
endif()
add_compile_definitions(_FILE_OFFSET_BITS=64)

# lxbase_export_map(<target> <map>): a shared library target exports only the
# symbols its linker version script names; a static build ignores it.
function(lxbase_export_map target map)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
  endif()
endfunction()
