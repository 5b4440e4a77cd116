// Messages of any length over one UDP socket: cuts them into fragments, and
// puts the fragments that arrive together. It does not know what the bytes
// mean; see message.h.
//
// Every datagram is a 16-byte header and up to 1456 bytes of the message. The
// header's numbers are most significant byte first:
//
//   offset 0  2 bytes  version, always 1
//          2  2        message id, the sender's
//          4  2        number of fragments of the message
//          6  2        number of this fragment, from 0
//          8  4        length of the whole message
//         12  4        where in the message this fragment's bytes belong
//         16  1..1456  those bytes

#ifndef OSTREL_DATAGRAM_H
#define OSTREL_DATAGRAM_H

#include <netinet/in.h>
#include <ostrel/export.h>
#include <ostrel/list.h>

#include <cstdint>

// An incomplete message: some of its fragments have arrived.
class OSTREL_API veskDatagramReassemblyEntry {
 public:
  // Copies its arguments, also the pointer to the buffer of `length` bytes, and
  // marks no fragment as arrived. `received` is null when there was no memory
  // for the marks.
  veskDatagramReassemblyEntry(unsigned short count, unsigned short id,
                              const sockaddr_in* sender, void* buffer,
                              unsigned int length, long expiry);

  // Frees the marks, not the buffer.
  ~veskDatagramReassemblyEntry();

  veskDatagramReassemblyEntry(const veskDatagramReassemblyEntry&) = delete;
  veskDatagramReassemblyEntry& operator=(const veskDatagramReassemblyEntry&) =
      delete;

  unsigned short fragmentCount;  // as the first fragment to arrive said
  unsigned short messageId;
  sockaddr_in sender;
  unsigned int totalLength;  // bytes of the message
  long expiry;               // calendar second after which it is dropped
  unsigned char* received;   // fragmentCount marks: 1 where one has arrived
  void* buffer;              // totalLength bytes from malloc; whoever holds the
                             // message owns them

 private:
  friend class veskDatagramHandler;
  std::uint64_t bytes() const;

  unsigned firstMissing_;  // every fragment before this one has arrived

  // The messages of its sender that were in the list when this one came and are
  // still there, this one included: their number, and their bytes. 0 in an
  // entry that a program put there.
  unsigned share_;
  std::uint64_t shareBytes_;
};

// One UDP socket. Used by one thread at a time.
class OSTREL_API veskDatagramHandler {
 public:
  // Limits for incomplete messages: their number, and the bytes of their
  // buffers and marks in all. The longest message always has room. When a new
  // message would exceed a limit, the sender (an address and port) that holds
  // most messages or bytes loses its oldest. Other senders lose nothing.
  static constexpr unsigned int kMaxPartialMessages = 1024;
  static constexpr unsigned int kMaxPartialBytes = 128 * 1024 * 1024;

  veskDatagramHandler();

  // Closes the socket, unless its number now belongs to something else. Kept:
  // frees neither the entries of the reassembly list nor their buffers;
  // dropPartialMessages() does.
  ~veskDatagramHandler();

  veskDatagramHandler(const veskDatagramHandler&) = delete;
  veskDatagramHandler& operator=(const veskDatagramHandler&) = delete;

  // Opens a socket on a port in host order, 0 for one that the system chooses.
  // A socket that an earlier call opened is closed after the new one has been
  // opened, or has failed to. So its port is still in use meanwhile. If
  // somebody else has closed the earlier socket, it is not closed again: its
  // number may belong to the new socket or to a file. Returns the descriptor,
  // or -1 with the cause in errno.
  int open(unsigned short port);

  // Sends `length` bytes as one message. Blocks for 100 ms after every 20
  // fragments, so that the receiver keeps up, and as long as the system is
  // short of buffers. Returns 1 when all fragments were sent. A message of no
  // bytes sends nothing and returns 1. Returns 0 on failure with the cause in
  // errno (EMSGSIZE: more than 65535 fragments); fragments sent before it stay
  // sent.
  int send(const sockaddr_in* to, void* data, unsigned int length);

  // Takes one datagram off the socket and, when that completes a message,
  // hands the message over. Blocks until a datagram is there.
  //   from  receives the sender; may be null.
  //   data  receives the message when a length is returned; the caller owns it
  //         and releases it with free().
  // Returns the message's length in bytes, or 0 with errno
  //   ENODATA          a fragment was stored, no message is complete; *data is
  //                    null
  //   EMSGSIZE         shorter than a header, or a header with no data
  //   EPROTONOSUPPORT  of another version; also when nothing could be read
  //   EINTR            a signal came while nothing was there to read; whatever
  //                    has arrived since stays queued, *data is as it was
  //   EBADMSG          a fragment that does not fit its message: *data is null;
  //                    or a message in one fragment of another length than its
  //                    header says
  //   ENOMEM           no memory, even after messages that are not complete
  //                    were dropped, those of the sender that holds most first,
  //                    as long as they could make room for this one. A fragment
  //                    of a longer message is gone, a message in one fragment
  //                    stays queued: to pass it over, take the datagram off the
  //                    socket.
  //   others           the system's
  // Kept: after EBADMSG a buffer in *data is the caller's as well. After
  // EMSGSIZE *data may hold a buffer too: it is the caller's if the header said
  // one fragment, else it still belongs to the message that is put together.
  unsigned int recv(sockaddr_in* from, void** data);

  // Drops messages whose first fragment came more than 60 seconds ago, with
  // their buffers. recv() calls it after each fragment of a longer message.
  void tick();

  // Drops all incomplete messages, with their buffers.
  void dropPartialMessages();

  // Closes the socket. Returns 1, or 0 when none is open or the system reports
  // a failure.
  // Kept: `socket` keeps its number; it is never closed a second time.
  int close();

  int socket;                    // -1 before the first open()
  unsigned short nextMessageId;  // of the next message sent; wraps around
  genericList reassemblyList;    // of veskDatagramReassemblyEntry*, the newest
                                 // first

 protected:
  // As recv(). *owned tells whether a buffer left in *data is the caller's.
  unsigned int take(sockaddr_in* from, void** data, bool* owned);

  // Drops the next datagram if recv() left it on the socket twice in a row
  // because there was no memory. Keeps errno.
  void passOverWhatIsStuck();

 private:
  veskDatagramReassemblyEntry* find(unsigned short id,
                                    const sockaddr_in& sender, unsigned* at);
  veskDatagramReassemblyEntry* create(unsigned short count, unsigned short id,
                                      const sockaddr_in& sender,
                                      unsigned length);
  veskDatagramReassemblyEntry* tryToCreate(unsigned short count,
                                           unsigned short id,
                                           const sockaddr_in& sender,
                                           unsigned length);
  bool putIn(veskDatagramReassemblyEntry* entry);
  void makeRoom(std::uint64_t bytes);
  bool dropForMemory(std::uint64_t bytes);
  void dropOldestOfLargest(bool byBytes);
  veskDatagramReassemblyEntry* takeOut(unsigned at);
  void drop(unsigned at);
  unsigned refuse(int error);
  unsigned takeWhole(unsigned length, unsigned offset, void** data);
  unsigned takeFragment(veskDatagramReassemblyEntry* entry, unsigned at,
                        unsigned number, unsigned offset, void** data,
                        bool* owned);

  bool isStillMine(int descriptor) const;

  int opened_;  // what open() opened and nobody closed since, or -1
  int closed_;  // what close() closed and open() did not replace, or -1

  std::uint64_t heldBytes_;  // of the entries that recv() made
  unsigned stuck_;           // how often in a row a datagram was left queued

  // The system's identification of the socket that open() opened.
  std::uint64_t device_;
  std::uint64_t inode_;
};

#endif  // OSTREL_DATAGRAM_H
