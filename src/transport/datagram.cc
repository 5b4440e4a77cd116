// Fragments: making them, checking those that arrive, and putting messages
// together.

#include <ostrel/codes.h>
#include <ostrel/datagram.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "base/platform.h"
#include "value/wire.h"

namespace {

using ostrel::ByteReader;
using ostrel::ByteWriter;
using ostrel::kFragmentData;
using ostrel::kFragmentHeader;
using ostrel::kFragmentVersion;
using ostrel::kMostFragments;
namespace platform = ostrel::platform;
using Entry = veskDatagramReassemblyEntry;

constexpr unsigned kLargestDatagram = 65507;  // what UDP over IPv4 carries
constexpr unsigned kLargestSingle = kLargestDatagram - kFragmentHeader;
constexpr int kSocketBuffer = 65536;
constexpr unsigned kPaceFragments = 20;
constexpr unsigned kPaceTicks = 10;
constexpr long kPartialSeconds = 60;

struct FragmentHeader {
  std::uint16_t version;
  std::uint16_t messageId;
  std::uint16_t count;
  std::uint16_t number;
  std::uint32_t total;
  std::uint32_t offset;
};

FragmentHeader readHeader(const char (&bytes)[kFragmentHeader]) {
  ByteReader reader(bytes, sizeof bytes);
  FragmentHeader header;
  header.version = reader.number<std::uint16_t>();
  header.messageId = reader.number<std::uint16_t>();
  header.count = reader.number<std::uint16_t>();
  header.number = reader.number<std::uint16_t>();
  header.total = reader.number<std::uint32_t>();
  header.offset = reader.number<std::uint32_t>();
  return header;
}

void writeHeader(const FragmentHeader& header, char (&bytes)[kFragmentHeader]) {
  ByteWriter writer(bytes, sizeof bytes);
  writer.number(header.version);
  writer.number(header.messageId);
  writer.number(header.count);
  writer.number(header.number);
  writer.number(header.total);
  writer.number(header.offset);
}

// Whether a fragment may be stored. For the first of a message it also checks
// that the count and total can be true. It checks what memory safety needs: the
// count and total of later fragments are ignored.
bool acceptFragment(const FragmentHeader& header, const Entry* stored) {
  if (header.count == 0) return false;
  if (stored != nullptr) {
    return header.number < stored->fragmentCount &&
           header.offset <= stored->totalLength;
  }
  if (header.offset > header.total) return false;
  if (header.count == 1) return header.total <= kLargestSingle;
  return header.number < header.count &&
         header.total <= header.count * kFragmentData;
}

// Whether a call read fewer than `bytes` of a datagram. A call that failed does
// not count as short: the caller goes on as if everything had arrived.
bool fellShort(long got, unsigned bytes) {
  return got >= 0 && static_cast<unsigned long>(got) < bytes;
}

// The memory for an incomplete message: its bytes, and a mark for each
// fragment.
std::uint64_t bytesFor(unsigned count, unsigned length) {
  return std::uint64_t{count} + length;
}

bool sameSender(const sockaddr_in& a, const sockaddr_in& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

Entry* entryOf(const listPointer* node) {
  return static_cast<Entry*>(node->data);
}

unsigned tooShort() {
  if (errno == 0) errno = EMSGSIZE;
  return 0;
}

}  // namespace

veskDatagramReassemblyEntry::veskDatagramReassemblyEntry(
    unsigned short count, unsigned short id, const sockaddr_in* from,
    void* message, unsigned int length, long expires)
    : fragmentCount(count),
      messageId(id),
      sender(*from),
      totalLength(length),
      expiry(expires),
      received(static_cast<unsigned char*>(platform::allocate(count))),
      buffer(message),
      firstMissing_(0),
      share_(0),
      shareBytes_(0) {}

veskDatagramReassemblyEntry::~veskDatagramReassemblyEntry() {
  std::free(received);
}

std::uint64_t veskDatagramReassemblyEntry::bytes() const {
  return bytesFor(fragmentCount, totalLength);
}

veskDatagramHandler::veskDatagramHandler()
    : socket(-1),
      nextMessageId(0),
      opened_(-1),
      closed_(-1),
      heldBytes_(0),
      stuck_(0),
      device_(0),
      inode_(0) {}

veskDatagramHandler::~veskDatagramHandler() {
  if (socket != opened_ || isStillMine(opened_)) close();
}

int veskDatagramHandler::open(unsigned short port) {
  // The former socket is closed last. Until then its port and its number are
  // taken, so the new socket has others.
  const int former = opened_ == socket && isStillMine(opened_) ? opened_ : -1;
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  address.sin_port = htons(port);
  socket = platform::openSocket();
  int cause = errno;
  if (socket >= 0 && platform::bindSocket(socket, address) < 0) {
    cause = errno;
    platform::closeSocket(socket);
    socket = -1;
  }
  platform::setSendBuffer(socket, kSocketBuffer);
  platform::setReceiveBuffer(socket, kSocketBuffer);
  if (former >= 0) platform::closeSocket(former);
  opened_ = socket;
  platform::Identity identity;
  platform::identify(socket, &identity);
  device_ = identity.device;
  inode_ = identity.inode;
  errno = cause;
  closed_ = -1;
  return socket;
}

// Whether a descriptor that open() opened is still that socket. If somebody
// else closed it, its number may belong to another file or socket.
bool veskDatagramHandler::isStillMine(int descriptor) const {
  if (descriptor < 0) return false;
  if (inode_ == 0) return true;  // the system could not tell
  platform::Identity now;
  if (platform::identify(descriptor, &now) != 0) return errno != EBADF;
  return now.device == device_ && now.inode == inode_;
}

int veskDatagramHandler::send(const sockaddr_in* to, void* data,
                              unsigned int length) {
  const unsigned short id = nextMessageId++;
  const unsigned count =
      length / kFragmentData + (length % kFragmentData != 0 ? 1 : 0);
  if (count > kMostFragments) {
    errno = EMSGSIZE;
    return 0;
  }
  FragmentHeader header = {
      kFragmentVersion, id, static_cast<std::uint16_t>(count), 0, length, 0};
  const char* bytes = static_cast<const char*>(data);
  for (unsigned sent = 0; sent < count;) {
    const unsigned left = length - header.offset;
    const unsigned size = left < kFragmentData ? left : kFragmentData;
    char headerBytes[kFragmentHeader];
    writeHeader(header, headerBytes);
    if (platform::sendParts(socket, *to, headerBytes, kFragmentHeader,
                            bytes + header.offset, size) < 0) {
      if (errno != ENOBUFS) return 0;
      platform::pause(kPaceTicks);
      continue;
    }
    sent++;
    header.number++;
    header.offset += size;
    if (sent % kPaceFragments == 0) platform::pause(kPaceTicks);
  }
  return 1;
}

unsigned int veskDatagramHandler::recv(sockaddr_in* from, void** data) {
  bool owned = false;
  return take(from, data, &owned);
}

unsigned int veskDatagramHandler::take(sockaddr_in* from, void** data,
                                       bool* owned) {
  sockaddr_in local;
  if (from == nullptr) from = &local;
  // Senders are compared byte for byte, the padding included.
  *from = {};
  *owned = false;
  const unsigned stuckBefore = std::exchange(stuck_, 0);
  errno = 0;
  char bytes[kFragmentHeader] = {};
  const long got = platform::peek(socket, from, bytes, kFragmentHeader);
  // Interrupted by a signal: the datagram stays queued for the next call.
  if (got < 0 && errno == EINTR) return 0;
  if (fellShort(got, kFragmentHeader)) {
    platform::discard(socket);
    return tooShort();
  }
  const FragmentHeader header = readHeader(bytes);
  if (header.version != kFragmentVersion) return refuse(EPROTONOSUPPORT);

  unsigned at = 0;
  Entry* entry = nullptr;
  if (header.count > 1) entry = find(header.messageId, *from, &at);
  if (!acceptFragment(header, entry)) {
    *data = nullptr;
    return refuse(EBADMSG);
  }
  if (header.count == 1) {
    const unsigned length = takeWhole(header.total, header.offset, data);
    *owned = *data != nullptr;
    if (*data == nullptr) stuck_ = stuckBefore + 1;
    return length;
  }
  if (entry == nullptr) {
    *data = nullptr;
    entry = create(header.count, header.messageId, *from, header.total);
    if (entry == nullptr) return refuse(ENOMEM);
  }
  return takeFragment(entry, at, header.number, header.offset, data, owned);
}

void veskDatagramHandler::passOverWhatIsStuck() {
  constexpr unsigned kTwice = 2;
  if (stuck_ < kTwice) return;
  stuck_ = 0;
  refuse(errno);
}

// Takes a message that is one fragment.
unsigned veskDatagramHandler::takeWhole(unsigned length, unsigned offset,
                                        void** data) {
  do {
    *data = platform::allocate(length);
  } while (*data == nullptr && dropForMemory(length));
  if (*data == nullptr) {
    errno = ENOMEM;
    return 0;
  }
  char again[kFragmentHeader];
  const long got = platform::receiveParts(socket, again, kFragmentHeader,
                                          static_cast<char*>(*data) + offset,
                                          length - offset);
  if (fellShort(got, kFragmentHeader + 1)) return tooShort();
  if (got == static_cast<long>(kFragmentHeader + length)) return length;
  errno = EBADMSG;
  return 0;
}

// Takes a fragment of the message at position `at`.
unsigned veskDatagramHandler::takeFragment(Entry* entry, unsigned at,
                                           unsigned number, unsigned offset,
                                           void** data, bool* owned) {
  *data = entry->buffer;
  char again[kFragmentHeader];
  const long got = platform::receiveParts(socket, again, kFragmentHeader,
                                          static_cast<char*>(*data) + offset,
                                          entry->totalLength - offset);
  if (fellShort(got, kFragmentHeader + 1)) return tooShort();
  // Kept: a failed read marks its fragment as arrived too. The buffer is zeroed
  // at first, so the fragment's place then has zeros.
  entry->received[number] = 1;
  // Marks are never cleared, so the search goes on where it stopped.
  while (entry->firstMissing_ < entry->fragmentCount &&
         entry->received[entry->firstMissing_] != 0) {
    entry->firstMissing_++;
  }
  if (entry->firstMissing_ < entry->fragmentCount) {
    tick();
    *data = nullptr;
    errno = ENODATA;
    return 0;
  }
  const unsigned length = entry->totalLength;
  delete takeOut(at);
  *owned = length > 0;
  if (length == 0) {
    // Only failed reads complete a message of 0 bytes. The caller gets no
    // buffer.
    std::free(*data);
    *data = nullptr;
  }
  tick();
  return length;
}

// Drops the datagram that is next on the socket and fails with `error`.
unsigned veskDatagramHandler::refuse(int error) {
  platform::discard(socket);
  errno = error;
  return 0;
}

Entry* veskDatagramHandler::find(unsigned short id, const sockaddr_in& sender,
                                 unsigned* at) {
  for (unsigned i = 0; i < reassemblyList.count; ++i) {
    Entry* entry = entryOf(reassemblyList.index(i));
    if (entry->messageId != id) continue;
    if (!sameSender(entry->sender, sender)) continue;
    *at = i;
    return entry;
  }
  return nullptr;
}

// Opens a message at the front of the list. Null when there is no memory.
Entry* veskDatagramHandler::create(unsigned short count, unsigned short id,
                                   const sockaddr_in& sender, unsigned length) {
  makeRoom(bytesFor(count, length));
  Entry* entry = tryToCreate(count, id, sender, length);
  while (entry == nullptr && dropForMemory(bytesFor(count, length)))
    entry = tryToCreate(count, id, sender, length);
  return entry;
}

Entry* veskDatagramHandler::tryToCreate(unsigned short count, unsigned short id,
                                        const sockaddr_in& sender,
                                        unsigned length) {
  void* buffer = platform::allocate(length);
  if (buffer == nullptr) return nullptr;
  const long expiry = platform::now() + kPartialSeconds;
  auto* entry =
      new (std::nothrow) Entry(count, id, &sender, buffer, length, expiry);
  if (entry == nullptr || entry->received == nullptr || !putIn(entry)) {
    delete entry;
    std::free(buffer);
    return nullptr;
  }
  return entry;
}

// Puts a new entry into the list. Returns whether there was memory for that.
bool veskDatagramHandler::putIn(Entry* entry) {
  // The sender's newest entry has the sender's present totals.
  const Entry* newest = nullptr;
  const listPointer* const end = &reassemblyList.head;
  for (const listPointer* node = end->next; node != end; node = node->next) {
    newest = entryOf(node);
    if (newest->share_ > 0 && sameSender(newest->sender, entry->sender)) break;
    newest = nullptr;
  }
  try {
    reassemblyList.insert(0, entry);
  } catch (const std::bad_alloc&) {
    return false;
  }
  entry->share_ = 1 + (newest == nullptr ? 0 : newest->share_);
  entry->shareBytes_ =
      entry->bytes() + (newest == nullptr ? 0 : newest->shareBytes_);
  heldBytes_ += entry->bytes();
  return true;
}

// Takes the entry at a position out of the list. Its message is the caller's.
Entry* veskDatagramHandler::takeOut(unsigned at) {
  Entry* entry = entryOf(reassemblyList.index(at));
  reassemblyList.remove(at);
  if (entry->share_ == 0) return entry;
  heldBytes_ -= entry->bytes();
  // Entries of the sender that came later have counted it.
  const listPointer* node = reassemblyList.head.next;
  for (; at > 0; at--, node = node->next) {
    Entry* later = entryOf(node);
    if (later->share_ == 0 || !sameSender(later->sender, entry->sender))
      continue;
    later->share_--;
    later->shareBytes_ -= entry->bytes();
  }
  return entry;
}

// Drops messages until one more of so many bytes is within the limits.
void veskDatagramHandler::makeRoom(std::uint64_t bytes) {
  if (reassemblyList.count == 0) heldBytes_ = 0;  // whoever emptied it
  while (reassemblyList.count >= kMaxPartialMessages)
    dropOldestOfLargest(false);
  while (reassemblyList.count > 0 && heldBytes_ + bytes > kMaxPartialBytes)
    dropOldestOfLargest(true);
}

// Drops a message, unless all messages together hold less than so many bytes.
// Returns whether it dropped one.
bool veskDatagramHandler::dropForMemory(std::uint64_t bytes) {
  if (reassemblyList.count == 0 || heldBytes_ < bytes) return false;
  dropOldestOfLargest(true);
  errno = 0;  // another attempt begins
  return true;
}

// Drops the oldest message of the sender that holds most bytes or messages.
// Among equals it takes the sender whose newest message came first.
void veskDatagramHandler::dropOldestOfLargest(bool byBytes) {
  const Entry* largest = nullptr;
  const listPointer* const end = &reassemblyList.head;
  for (const listPointer* node = end->next; node != end; node = node->next) {
    const Entry* entry = entryOf(node);
    if (largest == nullptr ||
        (byBytes ? entry->shareBytes_ >= largest->shareBytes_
                 : entry->share_ >= largest->share_))
      largest = entry;
  }
  // The newest entry of a sender has its largest share, so `largest` is one.
  unsigned at = reassemblyList.count - 1;
  const listPointer* node = end->prev;
  for (; !sameSender(entryOf(node)->sender, largest->sender); at--)
    node = node->prev;
  drop(at);
}

void veskDatagramHandler::drop(unsigned at) {
  Entry* entry = takeOut(at);
  std::free(entry->buffer);
  delete entry;
}

void veskDatagramHandler::tick() {
  const long now = platform::now();
  for (unsigned i = 0; i < reassemblyList.count;) {
    if (now > entryOf(reassemblyList.index(i))->expiry) {
      drop(i);
    } else {
      i++;
    }
  }
}

void veskDatagramHandler::dropPartialMessages() {
  while (reassemblyList.count > 0) drop(0);
}

int veskDatagramHandler::close() {
  if (socket < 0) return 0;
  if (socket == closed_) {
    errno = EBADF;
    return 0;
  }
  // Even a close that reports a failure has released the descriptor.
  closed_ = socket;
  opened_ = -1;
  return platform::closeSocket(socket) == 0 ? 1 : 0;
}
