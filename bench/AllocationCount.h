#pragma once

/// Heap allocations made through the global operator new so far in this
/// program (replaced in frame_bench.cpp for every benchmark of orvcore_bench).
long AllocationCount();
