#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// \file
/// What the processes of a batch share with the one that started them. It stays whole whenever one
/// of them is killed: nothing is locked, and what a process has taken tells whose it is.

namespace libmfx::host {

/// Memory that this process shares with all that it starts. Its pages are there once they are
/// written to, and are zero until then.
class SharedMemory {
 public:
  /// \throws CallError
  explicit SharedMemory(std::size_t bytes);
  ~SharedMemory();
  SharedMemory(SharedMemory&& other) noexcept;
  SharedMemory& operator=(SharedMemory&& other) noexcept;

  char* data() const { return _data; }
  /// Gives all pages from there on back to the system.
  void Drop(std::size_t from);

 private:
  char* _data = nullptr;
  std::size_t _bytes = 0;
};

/// Jobs that wait for a process: put in by one, each taken out by one of many. They have numbers of
/// their own, from 0 on.
class WaitingJobs {
 public:
  /// So many may have been put in since the first that is not answered.
  static constexpr std::uint64_t kMostOpen = 16384;

  WaitingJobs();
  ~WaitingJobs();
  WaitingJobs(const WaitingJobs&) = delete;
  WaitingJobs& operator=(const WaitingJobs&) = delete;

  /// For the process that puts them in. A text of any length has room where no other waits.
  /// \param first_open no job before it is open
  /// \returns whether there was room
  bool Put(std::string_view text, std::uint64_t first_open);
  /// Lets a process that waits in TakeNext look again.
  void Wake();
  /// When no more than these are left, whoever takes one of them is told.
  void SetLow(std::uint64_t low) { _shared->low = low; }
  /// The number of the next job that is put in.
  std::uint64_t end() const { return _shared->end.load(std::memory_order_acquire); }
  /// How many wait; they may be fewer by the time that it is known.
  std::uint64_t size() const;
  bool IsTakenBy(std::uint64_t job, std::uint16_t process) const;
  /// Whether the process that has taken it has its text.
  bool IsBegun(std::uint64_t job) const;
  /// Gives the room of a job back that is never going to be begun.
  void Drop(std::uint64_t job) { At(job).begun = true; }

  /// Takes the first one that waits, if there is any.
  /// \param process never 0
  std::optional<std::uint64_t> Take(std::uint16_t process);
  /// Waits until there is one.
  std::uint64_t TakeNext(std::uint16_t process);
  /// The text of a job that was just taken, which is told to be begun by it.
  std::string Begin(std::uint64_t job);
  /// Whether those that were put in are about to be used up, after this one was taken.
  bool IsLowAfter(std::uint64_t job) const;

 private:
  struct Slot {
    std::atomic<std::uint64_t> taken;  ///< the job's number times 2^16, and who has taken it
    std::atomic<bool> begun;
    std::uint64_t offset;
    std::uint64_t length;
  };
  struct Shared {
    sem_t waiting;  ///< as many as were put in and not waited for, or more
    std::atomic<std::uint64_t> end;
    std::atomic<std::uint64_t> next;  ///< none before it waits
    std::atomic<std::uint64_t> low;
    Slot slots[kMostOpen];
  };
  Slot& At(std::uint64_t job) const { return _shared->slots[job % kMostOpen]; }
  std::optional<std::size_t> RoomFor(std::size_t length);

  SharedMemory _memory;
  SharedMemory _texts;
  Shared* _shared;
  std::uint64_t _first_kept = 0;  ///< no text before it is needed
  std::size_t _texts_end = 0;
};

/// Bytes from one process to another, in turn.
class SharedStream {
 public:
  SharedStream();

  /// Hands bytes out and waits for room as often as it has to.
  /// \param full is called before each wait
  template <typename Full>
  void Write(std::string_view bytes, const Full& full) {
    while (!bytes.empty()) {
      bytes.remove_prefix(WriteSome(bytes));
      if (bytes.empty()) return;
      full();
      WaitForRoom();
    }
  }
  /// Whether half of the room is used up.
  bool IsHalfFull() const { return size() > kBytes / 2; }

  /// A part of what is there, in one piece; empty if there is nothing.
  std::string_view Front() const;
  /// Drops the first bytes of Front.
  void Pop(std::size_t count);

 private:
  static constexpr std::size_t kBytes = std::size_t{1} << 19;
  struct Shared {
    sem_t room;
    std::atomic<bool> wants_room;
    std::atomic<std::uint64_t> written;
    std::atomic<std::uint64_t> taken;
    char bytes[kBytes];
  };
  std::size_t size() const;
  std::size_t WriteSome(std::string_view bytes);
  void WaitForRoom();

  SharedMemory _memory;
  Shared* _shared;
};

}  // namespace libmfx::host
