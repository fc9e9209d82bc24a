// Compiled with the include path of one layer: it must fail exactly when
// PROBE_HEADER belongs to a higher layer.
#include PROBE_HEADER
