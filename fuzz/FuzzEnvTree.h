// A tree of an environment file as the ZVEV functions show it, for the fuzz targets to compare
// what a handle holds with what a new handle reads back from the file it wrote.
#ifndef ZV_FUZZ_ENV_TREE_H
#define ZV_FUZZ_ENV_TREE_H

#include <string>
#include <vector>

#include "ZVFileAccess.h"

namespace zvfuzz {

// One listed entry: its absolute path, entry type and what every getter gave for it.
struct Entry {
    std::string path;
    unsigned int type = 0;
    std::string value; /* the integer, boolean, string and binary getters' results */
    double real = 0;   /* the real getter's result */
    int locked = 0;    /* a directory's lock mark */
};

// Every entry a listing of the root shows, directories depth first in storage order (64 levels
// and 4096 listings at the most; a directory whose name makes no path of its own is not walked
// into), each key read with every getter. Entries whose names do not resolve as paths
// are kept with whatever the getters gave.
std::vector<Entry> Tree(ZVEV_HANDLE h);

// Whether two trees are the same: the binary form exactly; the text form with reals to about
// 12 digits (values too small for a power of ten to hold may come back as 0) and without the
// lock marks.
bool SameTree(const std::vector<Entry>& a, const std::vector<Entry>& b, bool binary);

// Whether a tree holds a not-a-number real (the text form writes it but does not read it back).
bool HoldsNotANumber(const std::vector<Entry>& entries);

}  // namespace zvfuzz

#endif  // ZV_FUZZ_ENV_TREE_H
