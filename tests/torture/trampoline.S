/* Every entry of the library's table leads here with its number in r11. The arguments are kept, the number becomes the
   function that is to answer, and that one is jumped to as if it had been called at once. */
    .text
    .globl nas_torture_trampoline
    .type nas_torture_trampoline, @function
nas_torture_trampoline:
    .cfi_startproc
    pushq %rbp
    .cfi_adjust_cfa_offset 8
    .cfi_rel_offset %rbp, 0
    movq %rsp, %rbp
    .cfi_def_cfa_register %rbp
    andq $-16, %rsp
    subq $192, %rsp
    movq %rdi, 0(%rsp)
    movq %rsi, 8(%rsp)
    movq %rdx, 16(%rsp)
    movq %rcx, 24(%rsp)
    movq %r8, 32(%rsp)
    movq %r9, 40(%rsp)
    movq %rax, 48(%rsp)
    movups %xmm0, 64(%rsp)
    movups %xmm1, 80(%rsp)
    movups %xmm2, 96(%rsp)
    movups %xmm3, 112(%rsp)
    movups %xmm4, 128(%rsp)
    movups %xmm5, 144(%rsp)
    movups %xmm6, 160(%rsp)
    movups %xmm7, 176(%rsp)
    movq %r11, %rdi
    call nas_torture_answer
    movq %rax, %r11
    movq 0(%rsp), %rdi
    movq 8(%rsp), %rsi
    movq 16(%rsp), %rdx
    movq 24(%rsp), %rcx
    movq 32(%rsp), %r8
    movq 40(%rsp), %r9
    movq 48(%rsp), %rax
    movups 64(%rsp), %xmm0
    movups 80(%rsp), %xmm1
    movups 96(%rsp), %xmm2
    movups 112(%rsp), %xmm3
    movups 128(%rsp), %xmm4
    movups 144(%rsp), %xmm5
    movups 160(%rsp), %xmm6
    movups 176(%rsp), %xmm7
    leave
    .cfi_def_cfa %rsp, 8
    jmp *%r11
    .cfi_endproc
    .size nas_torture_trampoline, . - nas_torture_trampoline
    .section .note.GNU-stack, "", @progbits
