// Preloaded while coverage is counted: a process that ends itself by abort() writes down what it came to.
#include <stdlib.h>

void abort(void) { exit(134); }
