#include "zylqx.h"
