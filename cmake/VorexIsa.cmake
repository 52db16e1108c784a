# Instruction-set units: only sources under sse_icc_lib/sse4/ and sse_icc_lib/avx2/ get -m flags.
# Each names exactly what its kernels use (SSE: 64-bit compare of SSE4.2; AVX2: bit deposit and
# extract of BMI2). Nothing else in the tree is ever built with an -m or -march flag.
set(VOREX_SSE4_FLAGS -msse4.2)
set(VOREX_AVX2_FLAGS -mavx2 -mbmi2)

function(vorex_apply_isa_flags target sources)
  foreach(_src IN LISTS sources)
    if(_src MATCHES "/sse_icc_lib/sse4/")
      set_source_files_properties(${_src} TARGET_DIRECTORY ${target}
        PROPERTIES COMPILE_OPTIONS "${VOREX_SSE4_FLAGS}")
    elseif(_src MATCHES "/sse_icc_lib/avx2/")
      set_source_files_properties(${_src} TARGET_DIRECTORY ${target}
        PROPERTIES COMPILE_OPTIONS "${VOREX_AVX2_FLAGS}")
    endif()
  endforeach()
endfunction()
