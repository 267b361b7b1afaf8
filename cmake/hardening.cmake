# What makes an error in the handling of memory hard to exploit, in the programs that are shipped:
# the directory src/ uses these options in optimised builds. Sanitizers find the same errors by other
# means and do not work with all of them. docs/performance.md gives the cost.

include(CheckCXXCompilerFlag)

set(hardening_compile_options
    -fPIE
    -fstack-protector-strong
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
    -D_GLIBCXX_ASSERTIONS)

# Not every processor has these.
foreach(option -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "has${option}" has_option)
    check_cxx_compiler_flag(${option} ${has_option})
    if(${has_option})
        list(APPEND hardening_compile_options ${option})
    endif()
endforeach()

set(hardening_link_options -pie -Wl,-z,relro,-z,now)
