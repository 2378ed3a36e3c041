// Peak resident memory of one load, measured in a fresh process: zvbench started with
// "--peak-rss IMPL PATH" loads PATH as IMPL does ("ours", "ours-binary", "gkeyfile",
// "libconfig") and prints how many KiB its peak and its current resident size rose by.
#ifndef ZVBENCH_PEAKMEMORY_H
#define ZVBENCH_PEAKMEMORY_H

namespace zvbench {

constexpr const char* kPeakOption = "--peak-rss";

// The child's work: 0 after printing "<peak KiB> <retained KiB>", 1 when the load failed.
int MeasurePeak(const char* impl, const char* path);

}  // namespace zvbench

#endif  // ZVBENCH_PEAKMEMORY_H
