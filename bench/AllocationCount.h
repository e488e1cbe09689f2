#pragma once

/// Heap allocations made through the global operator new so far in this
/// program (replaced in AllocationCount.cpp, which each benchmark program
/// that reports allocations links).
long AllocationCount();
