#include "host/batch_shared.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "host/errors.h"
#include "host/files.h"

namespace libmfx::host {
namespace {

/// Room for the texts of jobs that wait; a longer one has to wait until it is alone.
constexpr std::size_t kTexts = std::size_t{1} << 20;

constexpr int kBitsOfProcess = 16;

void WaitFor(sem_t& semaphore) {
  while (sem_wait(&semaphore) != 0 && errno == EINTR) {
  }
}

}  // namespace

SharedMemory::SharedMemory(std::size_t bytes) : _bytes(bytes) {
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) {
    throw CallError(std::string("cannot share memory with processes: ") + strerror(errno));
  }
  _data = static_cast<char*>(memory);
}

SharedMemory::~SharedMemory() {
  if (_data != nullptr) munmap(_data, _bytes);
}

SharedMemory::SharedMemory(SharedMemory&& other) noexcept
    : _data(std::exchange(other._data, nullptr)), _bytes(other._bytes) {}

SharedMemory& SharedMemory::operator=(SharedMemory&& other) noexcept {
  std::swap(_data, other._data);
  std::swap(_bytes, other._bytes);
  return *this;
}

void SharedMemory::Drop(std::size_t from) {
  madvise(_data + from, _bytes - from, MADV_REMOVE);  // what fails costs memory only
}

// The memory is zero, as all its numbers are to begin with.
WaitingJobs::WaitingJobs()
    : _memory(sizeof(Shared)),
      _texts(kTexts + kLongestText),
      _shared(reinterpret_cast<Shared*>(_memory.data())) {
  sem_init(&_shared->waiting, 1, 0);
}

WaitingJobs::~WaitingJobs() { sem_destroy(&_shared->waiting); }

std::optional<std::size_t> WaitingJobs::RoomFor(std::size_t length) {
  while (_first_kept < end() && IsBegun(_first_kept)) ++_first_kept;
  if (_first_kept == end()) {
    if (std::exchange(_texts_end, 0) > kTexts) _texts.Drop(kTexts);
    return 0;
  }
  const std::size_t used_from = At(_first_kept).offset;
  if (_texts_end <= used_from) {
    return _texts_end + length < used_from ? std::optional(_texts_end) : std::nullopt;
  }
  if (_texts_end + length <= kTexts) return _texts_end;
  return length < used_from ? std::optional<std::size_t>(0) : std::nullopt;
}

bool WaitingJobs::Put(std::string_view text, std::uint64_t first_open) {
  const std::uint64_t job = end();
  if (job - first_open >= kMostOpen) return false;
  const std::optional<std::size_t> offset = RoomFor(text.size());
  if (!offset) return false;
  std::copy(text.begin(), text.end(), _texts.data() + *offset);
  _texts_end = *offset + text.size();
  Slot& slot = At(job);
  slot.offset = *offset;
  slot.length = text.size();
  slot.begun = false;
  slot.taken = job << kBitsOfProcess;
  _shared->end.store(job + 1, std::memory_order_release);
  return true;
}

void WaitingJobs::Wake() { sem_post(&_shared->waiting); }

std::uint64_t WaitingJobs::size() const {
  const std::uint64_t next = _shared->next;
  return end() - std::min(next, end());
}

bool WaitingJobs::IsTakenBy(std::uint64_t job, std::uint16_t process) const {
  return At(job).taken == ((job << kBitsOfProcess) | process);
}

bool WaitingJobs::IsBegun(std::uint64_t job) const { return At(job).begun; }

std::optional<std::uint64_t> WaitingJobs::Take(std::uint16_t process) {
  for (std::uint64_t job = _shared->next; job < end(); ++job) {
    // With its number, so that a slot that was used again meanwhile is not mistaken for it.
    std::uint64_t waiting = job << kBitsOfProcess;
    if (!At(job).taken.compare_exchange_strong(waiting, waiting | process)) continue;
    std::uint64_t next = _shared->next;
    while (next <= job && !_shared->next.compare_exchange_weak(next, job + 1)) {
    }
    return job;
  }
  return std::nullopt;
}

std::uint64_t WaitingJobs::TakeNext(std::uint16_t process) {
  for (;;) {
    WaitFor(_shared->waiting);
    if (const auto job = Take(process)) return *job;
  }
}

std::string WaitingJobs::Begin(std::uint64_t job) {
  Slot& slot = At(job);
  std::string text(_texts.data() + slot.offset, slot.length);
  slot.begun = true;
  return text;
}

bool WaitingJobs::IsLowAfter(std::uint64_t job) const { return end() - job - 1 == _shared->low; }

SharedStream::SharedStream()
    : _memory(sizeof(Shared)), _shared(reinterpret_cast<Shared*>(_memory.data())) {
  sem_init(&_shared->room, 1, 0);
}

std::size_t SharedStream::size() const {
  return static_cast<std::size_t>(_shared->written.load(std::memory_order_acquire) -
                                  _shared->taken.load(std::memory_order_acquire));
}

std::size_t SharedStream::WriteSome(std::string_view bytes) {
  const std::uint64_t written = _shared->written.load(std::memory_order_relaxed);
  const std::size_t count = std::min(bytes.size(), kBytes - size());
  const auto place = static_cast<std::size_t>(written % kBytes);
  const std::size_t to_end = std::min(count, kBytes - place);
  std::memcpy(_shared->bytes + place, bytes.data(), to_end);
  std::memcpy(_shared->bytes, bytes.data() + to_end, count - to_end);
  _shared->written.store(written + count, std::memory_order_release);
  return count;
}

void SharedStream::WaitForRoom() {
  _shared->wants_room = true;
  while (size() == kBytes) WaitFor(_shared->room);
  _shared->wants_room = false;
}

std::string_view SharedStream::Front() const {
  const auto place = static_cast<std::size_t>(_shared->taken % kBytes);
  return {_shared->bytes + place, std::min(size(), kBytes - place)};
}

void SharedStream::Pop(std::size_t count) {
  _shared->taken += count;
  if (_shared->wants_room) sem_post(&_shared->room);
}

}  // namespace libmfx::host
