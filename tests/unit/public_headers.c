/* Programs of others may be written in C. */
#include "fieldrelaybox/shared_memory.h"
#include "fieldrelaybox/statistics.h"
