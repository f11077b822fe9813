#pragma once

#include "store/cache/Page.h"

namespace ps::detail {

// An object that lies in no page but has a frame of its own, so that handles open and pin it like any other.
struct alignas(64) PagelessObject {
  Frame* frame = nullptr;  // its image is this
  alignas(alignment) ObjectHeader header{};
  alignas(alignment) unsigned char object[alignment] = {};  // nothing but the pointer to its class's virtual table

  static PagelessObject* of(const Frame* frame) { return reinterpret_cast<PagelessObject*>(frame->image); }

  // Frees the object with its frame. Called when the object is out of use and nothing pins it.
  virtual void destroy() = 0;

 protected:
  ~PagelessObject() = default;
};

}  // namespace ps::detail
