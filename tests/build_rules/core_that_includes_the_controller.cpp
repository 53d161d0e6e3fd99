#include "controller/operations.h"
