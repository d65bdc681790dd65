/* Instruction-set variants of the engines' inline code.
 *
 * Some translation units are compiled with wider vector instructions (AVX2,
 * AVX-512) than the baseline. Inline helpers that such a unit and a baseline
 * unit both include would be emitted twice under one name, and the linker
 * could keep the wide copy for baseline callers. Every header that such units
 * share puts its inline code into the namespace named here, which each
 * variant's unit sets to a name of its own (C++ only). */
#ifndef ORTAVEL_ISA_H
#define ORTAVEL_ISA_H

#ifndef ORTAVEL_ISA_NAMESPACE
#define ORTAVEL_ISA_NAMESPACE isa_baseline
#endif

#endif
