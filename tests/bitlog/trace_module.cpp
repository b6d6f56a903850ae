// A library with message texts in sections of its file, as generated code has them.
#include "bitlog.h"

// Directives that no attribute can state: the sections take room in the file, not in memory. What follows the
// compressed stream must not matter.
asm(".section .trace_module_texts,\"\",@progbits\n"
    ".incbin \"" TEXTS_FILE
    "\"\n"
    ".zero 5\n"
    ".section .trace_module_subjects,\"\",@progbits\n"
    ".incbin \"" SUBJECTS_FILE
    "\"\n"
    ".section .trace_module_arguments,\"\",@progbits\n"
    ".incbin \"" ARGUMENTS_FILE
    "\"\n"
    ".section .damaged_texts,\"\",@progbits\n"
    ".ascii \"BZh91AY&SY and then something else\"\n"
    ".section .cut_texts,\"\",@progbits\n"
    ".incbin \"" TEXTS_FILE
    "\", 0, 60\n"
    ".previous\n");

extern "C" {
BITLOG_API extern const bitlog_descriptor trace_module_descriptor;
BITLOG_API extern const bitlog_descriptor damaged_descriptor;
BITLOG_API extern const bitlog_descriptor cut_descriptor;
const bitlog_descriptor trace_module_descriptor = {"trace_module", ".trace_module_texts"};
const bitlog_descriptor damaged_descriptor = {"damaged_module", ".damaged_texts"};
const bitlog_descriptor cut_descriptor = {"cut_module", ".cut_texts"};
}
