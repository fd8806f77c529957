#include "zylqx.hpp"
#include "zylqx.hpp" // once counts
