#pragma once

#include "binding/future/Future.h"  // a promise is declared with its future
