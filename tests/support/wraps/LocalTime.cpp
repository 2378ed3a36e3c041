// The answer the local file time replacements give (see WrappedCalls.h).
#include "WrappedCalls.h"

zvtest::LocalTimeAnswer zvtest::g_localTime;
