#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The linker sends the executable's calls of some functions of the system here.
namespace spf::test {

/// The memory that was wiped since the last call of this function, as it was before. Of the thread that calls.
struct WipedMemory {
  const void* place;
  std::string content;
};
std::vector<WipedMemory> takeWiped();

/// How many files were opened relative to a folder since the last call of this function.
std::size_t takeOpened();

/// Lets such openings fail with an error; 0 ends that.
void failOpenings(int error);

/// Lets folders' openings, their listings or all readings of files fail with an error; 0 ends that.
void failFolders(int error);
void failListings(int error);
void failReadings(int error);

/// Sets the wall clock that is read by clock_gettime ahead by that many seconds.
void setClockAhead(long seconds);

}  // namespace spf::test
