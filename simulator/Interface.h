// The driver's interface with what this library exports: everything else in it stays hidden.
#pragma once

#pragma GCC visibility push(default)
#include <tt_driver.h>
#pragma GCC visibility pop
