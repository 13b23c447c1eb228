// Front of the utilities, for other modules: the public functions, and work spread over a pool's threads.
#pragma once

#include <vorel/util.h>

#include "util/task_group.h"
