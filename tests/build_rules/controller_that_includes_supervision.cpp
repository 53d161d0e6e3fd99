#include "supervision/cycle.h"
