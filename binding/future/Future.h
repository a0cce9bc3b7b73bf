#pragma once

#include <eb/com/Future.h>  // part of the platform's interface: Client_port gives one
