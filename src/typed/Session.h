#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "store/psSession.h"
#include "typed/Ref.h"

namespace ps {

// A psSession whose failures are exceptions of type ps::Error.
//
//   ps::Session session("visits.ps");
//   session.update([&] { ... });
class PS_API Session : public psSession {
 public:
  explicit Session(const std::string& path, const psSessionOptions& options = psSessionOptions());

  // Calls f in an update transaction, and commits it when f returns. When f throws, aborts, and lets the exception
  // pass. When the commit fails, aborts and throws. f may end the transaction itself.
  //
  // On a server, other sessions update at the same time. When one of them has changed what f had read
  // (psErrorKind::conflict), all of this is done again, up to 20 times, after pauses that grow to 0.1 s. So f must do
  // nothing but change the store. Nothing is done again for a file, where no conflict arises.
  //
  // Returns what f returns: values and references to objects (ps::Ref), but nothing that points into the store.
  template <class F>
  auto update(F&& f) {
    for (int attempt = 0;; ++attempt) {
      try {
        return run(pscUpdate, f);
      } catch (const Error& error) {
        if (!pauseAfter(error, attempt)) throw;
      }
    }
  }
  // The same in a read transaction, which sees what was committed when it began.
  template <class F>
  auto read(F&& f) {
    return run(pscRead, f);
  }

  // As the operations of psSession: an update creates what is not there. In a read transaction, throws ps::Error of
  // kind absent.
  pstHandle<psDBObj> database(const char* name);
  pstHandle<psContObj> container(const pstHandle<psDBObj>& database, const char* name);
  pstHandle<psContObj> container(const char* database, const char* name);

 private:
  class PS_API Transaction {
   public:
    Transaction(Session& session, psMode mode);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void commit();

   private:
    Session& session_;
    bool isDone_ = false;
  };

  // Whether what has failed is to be done again; waits before that.
  bool pauseAfter(const Error& error, int attempt);

  template <class F>
  auto run(psMode mode, F& f) {
    using Result = std::invoke_result_t<F&>;
    static_assert(!std::is_reference_v<Result> && !std::is_pointer_v<Result> &&
                      !std::is_same_v<std::remove_cv_t<Result>, std::string_view>,
                  "what a transaction returns must not point into the store: return a copy, or a ps::Ref");
    Transaction transaction(*this, mode);
    if constexpr (std::is_void_v<Result>) {
      f();
      transaction.commit();
    } else {
      Result result = f();
      transaction.commit();
      return result;
    }
  }
};

}  // namespace ps
