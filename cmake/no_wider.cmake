# tabfit_no_wider(TARGET TYPE WIDEST) - the library as on a narrower processor: its kernels are no wider
# than WIDEST, 0 plain loops, 1 AVX2. TYPE is SHARED or STATIC. All other objects are the library's own.
function(tabfit_no_wider target type widest)
  add_library(${target} ${type} ${PROJECT_SOURCE_DIR}/src/kernels/lanes/choice.cpp
    "$<FILTER:$<TARGET_OBJECTS:tabfit_objects>,EXCLUDE,/lanes/choice[.]cpp>")
  target_compile_definitions(${target} PRIVATE TABFIT_WIDEST_KERNELS=${widest})
  target_compile_options(${target} PRIVATE $<TARGET_PROPERTY:tabfit_objects,COMPILE_OPTIONS>)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src
    INTERFACE ${PROJECT_SOURCE_DIR}/include PRIVATE ${PROJECT_SOURCE_DIR}/include)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  if(type STREQUAL "SHARED")
    target_link_options(${target} PRIVATE LINKER:--version-script=${tabfit_exports})
  endif()
endfunction()
