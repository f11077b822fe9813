#include "network/Failover.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace ps::test {

void Failover::killPrimary() {
  primary_->kill();
  standby_->promote();
}

void Failover::attach() {
  if (standby_ != nullptr) primary_ = std::move(standby_);
  standby_ = std::make_unique<Server>(*primary_, "standby");
  primary_->sql("alter system set synchronous_standby_names = 'standby'");
  primary_->sql("select pg_reload_conf()");
  const auto isSynced = [this] {
    return primary_->sql("select count(*) from pg_stat_replication where sync_state = 'sync'") == "1";
  };
  for (int i = 0; !isSynced(); ++i) {
    ASSERT_LT(i, 300) << "the standby does not follow";
    ::usleep(100000);
  }
}

}  // namespace ps::test
