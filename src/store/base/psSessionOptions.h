#pragma once

#include <cstddef>

#include "store/base/psVerify.h"

// How a session opens a store. Every field has a default that suits most programs.
struct psSessionOptions {
  // Bytes of a page image: a power of two from 4096 to 32768. Fixed when the store is created; ignored afterwards.
  unsigned int pageSize = 8192;

  // Bytes of page images that the session keeps in memory; values below 4 MiB count as 4 MiB. Images that are pinned,
  // or were used within the last 16 page loads, stay in memory beyond the limit.
  std::size_t cacheLimit = std::size_t{64} << 20;

  // Bytes that an update may hold in memory beside the page images, see psSessionCounters::uncommittedBytes; 0 means no
  // limit. What is changed is kept in memory until the commit: cacheLimit does not bound it. A change that would exceed
  // the limit is refused with psErrorKind::full before it is made. What was changed before can be committed. An object
  // counts with its whole page and an array with all its elements, however little of them changes. Deletions, commits
  // and psSession::upgrade() are not refused.
  std::size_t updateLimit = 0;

  // Address space reserved for the store's file, and so the largest size of the file. It is sparse: nothing is used
  // before it is written. 0 means the value of the environment variable PSCOLLECTIONS_MAP_SIZE (bytes) when that is
  // set, else 1 TiB.
  std::size_t mapSize = 0;

  // Opens an existing store for reading only; update transactions are then refused.
  bool readOnly = false;

  // When false, a commit returns before the file has reached the disk: a crash of the machine (not of the process) may
  // then cost the whole store.
  bool sync = true;

  // What is verified before open returns; a fault refuses the store as damaged. For files that come from elsewhere or
  // were restored. Updates wait meanwhile.
  psVerify verify = psVerify::none;

  // Milliseconds that begin(pscUpdate) waits for the update of another session or process. Then it fails with
  // psErrorKind::busy and says which process has it. Negative: it waits for ever. While others wait for ever, a session
  // with a limit gets its turn later than they do.
  int busyTimeout = -1;

  // Locks do not work reliably on network file systems, so a store on one is refused unless this is set.
  bool allowNetworkFileSystem = false;
};
