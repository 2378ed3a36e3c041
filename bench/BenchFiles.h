// Writers of a data set's files: the library's text and binary environment files, GKeyFile's key
// file and libconfig's configuration file, each made by its own library from the same settings.
#ifndef ZVBENCH_BENCHFILES_H
#define ZVBENCH_BENCHFILES_H

#include "BenchData.h"

namespace zvbench {

// Sets every value through the ZVEV functions on a fresh file, flushes it as text to
// data.ourText and saves it as binary to data.ourBinary. False when any call fails.
bool WriteOurFiles(const DataSet& data);
// Groups named after the leaf directories ("motor/axis3"); binary data as a list of integers.
bool WriteKeyFile(const DataSet& data);
// Nested groups like the library's tree; binary data as an array of hexadecimal integers.
bool WriteConfigFile(const DataSet& data);

}  // namespace zvbench

#endif  // ZVBENCH_BENCHFILES_H
