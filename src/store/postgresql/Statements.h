#pragma once

// The tables of a store on a server, and all statements that are sent there. Those of the first list are carried out
// once, when the store is made; those of the second are prepared by each connection.
//
// - pairs: the pairs of the engine.
// - commits: a row for each commit of the last minutes. Its token tells whether a commit whose answer was lost was
//   carried out; keys and counts tell other sessions what it has changed.
// - counts: what sessions have added to the counts of a record of the catalog, see CountedRecord.h. owner is one of a
//   few numbers: commits that count with the same one wait for each other.
// - numbers: the lowest number of a record that was not handed out.
// - guards: a row for each group of keys, see GuardGroups.h.
// - store: one row. format is that of these tables. Before horizon, commits were deleted.
namespace ps::detail::statements {

constexpr int format = 1;

// %s is the schema's name, quoted.
constexpr const char* create[] = {
    // Two that create at a time would fail on each other.
    "select pg_advisory_xact_lock(7302817)",
    "create schema if not exists %s",
    // A page is replaced as a whole: with room for its next version beside it no index changes. Its record is packed
    // already, so the server need not compress it.
    "create table if not exists %s.pairs (key bytea primary key, value bytea not null)"
    " with (fillfactor = 50, autovacuum_vacuum_scale_factor = 0.05)",
    "alter table %s.pairs alter column value set storage external",
    "create table if not exists %s.commits (token bytea primary key, xid bigint not null, keys bytea[], counts bytea[],"
    " made timestamptz not null default now())",
    "create index if not exists commits_xid on %s.commits (xid)",
    "create table if not exists %s.counts (key bytea, owner int4, live int4 not null, next int4 not null,"
    " primary key (key, owner)) with (fillfactor = 50)",
    "create table if not exists %s.numbers (key bytea primary key, next int4 not null) with (fillfactor = 50)",
    "create table if not exists %s.guards (number int4 primary key) with (fillfactor = 50)",
    "insert into %s.guards select generate_series(0, 63) on conflict do nothing",
    "create table if not exists %s.store (one bool primary key default true check (one), format int4 not null,"
    " horizon bigint not null)",
    "insert into %s.store values (true, 1, 0) on conflict do nothing",
};

// The planner must use the indexes: it would choose by statistics of tables that were empty.
constexpr const char* settings[] = {
    "set client_min_messages = warning",
    "set enable_seqscan = off",
    "set enable_bitmapscan = off",
    "set enable_hashjoin = off",
    "set enable_mergejoin = off",
    "set enable_material = off",
    "set jit = off",
    "set plan_cache_mode = force_generic_plan",
};
constexpr const char* setPath = "set search_path = %s";
constexpr const char* unsynced = "set synchronous_commit = off";

constexpr const char* look = "select to_regclass($1::text || '.store') is not null";
// After a restore into another cluster, whose transactions have other numbers, commits of the old one are in the way.
constexpr const char* forgetFuture[] = {
    "delete from commits where xid >= pg_snapshot_xmax(pg_current_snapshot())::text::bigint",
    "update store set horizon = 0 where horizon > pg_snapshot_xmax(pg_current_snapshot())::text::bigint",
};
constexpr const char* readFormat =
    "select format, horizon > pg_snapshot_xmax(pg_current_snapshot())::text::bigint or exists (select from commits "
    "where"
    " xid >= pg_snapshot_xmax(pg_current_snapshot())::text::bigint) from store";

constexpr const char* beginSnapshot = "begin isolation level repeatable read, read only";
constexpr const char* beginCommit = "begin isolation level read committed";
constexpr const char* commit = "commit";
constexpr const char* rollback = "rollback";

// The store in a connection's name, which the server cuts off.
#define PS_STORE_OF(name) "left(substring(" name " from '^pscollections [0-9]+ (.*)'), 32)"

struct Prepared {
  const char* name;
  const char* text;
};

// Counts and numbers of a record of the catalog, whose keys begin with C, D or F.
#define PS_COUNTS_OF_PAIR                                                                               \
  "left join lateral (select sum(live)::int8 live, max(next) next from counts where counts.key = p.key" \
  " and p.key >= '\\x43' and p.key < '\\x47') c on true "

// A cast that fails ends the transaction, and its message tells the key that was found changed.
#define PS_FAIL_WITH(key) "select ('x' || min(encode(" key ", 'hex')))::int4 "

constexpr Prepared prepared[] = {
    {"snapshot", "select pg_current_snapshot()::text"},
    {"changes",
     "select pg_current_snapshot()::text, s.horizon > pg_snapshot_xmin($1::text::pg_snapshot)::text::bigint, c.token,"
     " c.keys, c.counts from store s left join commits c on c.xid >= pg_snapshot_xmin($1::text::pg_snapshot)::text::"
     "bigint and not pg_visible_in_snapshot(c.xid::text::xid8, $1::text::pg_snapshot)"},
    {"get", "select p.value, c.live, c.next from pairs p " PS_COUNTS_OF_PAIR "where p.key = $1::bytea"},
    {"page", "select key, value from pairs where key >= $1::bytea and key <= $2::bytea order by key limit $3::int4"},
    {"many", "select key, value from pairs where key = any($1::bytea[])"},
    {"scan", "select p.key, p.value, c.live, c.next from pairs p " PS_COUNTS_OF_PAIR
             "where p.key >= $1::bytea and p.key < $2::bytea order by p.key limit $3::int4"},
    {"records", "select count(*) from pairs"},
    {"size",
     "select sum(pg_total_relation_size(t))::int8, (select extract(epoch from max(made))::int8 from commits) from"
     " unnest(array['pairs', 'commits', 'counts', 'numbers', 'guards', 'store']::regclass[]) t"},
    {"readers",
     "select application_name, extract(epoch from now() - xact_start)::float8 from pg_stat_activity where datname ="
     " current_database() and " PS_STORE_OF("application_name") " = " PS_STORE_OF(
         "current_setting('application_name')") " and backend_xmin is not null and pid <> pg_backend_pid() order by "
                                                "xact_start"},

    {"guard", "select count(*) from (select from guards where number = any($1::int4[]) order by number for update) g"},
    {"enter", "select count(*) from (select from guards where number = any($1::int4[]) order by number for share) g"},
    {"ranges",
     PS_FAIL_WITH("r.first") "from unnest($1::bytea[], $2::bytea[], $3::int4[]) r(first, last, pairs) where"
                             " (select count(*) from pairs p where p.key >= r.first and p.key < r.last) <> r.pairs"
                             " having count(*) > 0"},
    {"counted",
     PS_FAIL_WITH("e.key") "from unnest($1::bytea[], $2::int4[]) e(key, live) where (select coalesce(sum(c.live), 0)"
                           " from counts c where c.key = e.key) <> e.live having count(*) > 0"},
    {"lock", "select count(*) from (select from pairs where key = any($1::bytea[]) order by key for update) p"},
    {"update",
     "with written as (update pairs p set value = e.value from unnest($1::bytea[], $2::bytea[], $3::bytea[])"
     " e(key, value, stamp) where p.key = e.key and substring(p.value from 1 for 8) = e.stamp returning "
     "p.key) " PS_FAIL_WITH("e.key") "from (select unnest($1::bytea[]) as key except select key from written) e"
                                     " having count(*) > 0"},
    {"delete",
     "with deleted as (delete from pairs p using unnest($1::bytea[], $2::bytea[]) e(key, stamp) where p.key = e.key"
     " and (e.stamp is null or substring(p.value from 1 for 8) = e.stamp) returning p.key) " PS_FAIL_WITH(
         "e.key") "from (select u.key from unnest($1::bytea[], $2::bytea[]) u(key, stamp) where u.stamp is not"
                  " null except select key from deleted) e having count(*) > 0"},
    {"compare",
     "with present as materialized (select key, substring(value from 1 for 8) as stamp from pairs where key ="
     " any($1::bytea[]) order by key for share nowait) " PS_FAIL_WITH(
         "e.key") "from (select unnest($1::bytea[]) as key, unnest($2::bytea[]) as stamp except select key, stamp from"
                  " present) e having count(*) > 0"},
    {"insert", "insert into pairs select * from unnest($1::bytea[], $2::bytea[])"},
    {"write",
     "insert into pairs select * from unnest($1::bytea[], $2::bytea[]) on conflict (key) do update set value ="
     " excluded.value"},
    {"count",
     "insert into counts select u.key, $2::int4, u.live, u.next from unnest($1::bytea[], $3::int4[], $4::int4[])"
     " u(key, live, next) on conflict (key, owner) do update set live = counts.live + excluded.live, next ="
     " greatest(counts.next, excluded.next)"},
    {"uncount", "delete from counts where key = any($1::bytea[])"},
    {"unnumber", "delete from numbers where key = any($1::bytea[])"},
    {"note",
     "insert into commits (token, xid, keys, counts) values ($1::bytea, pg_current_xact_id()::text::bigint,"
     " $2::bytea[], $3::bytea[])"},
    // Writes something in any case: so a synchronous standby has what was found before it is believed.
    {"decide",
     "insert into commits (token, xid) values ($1::bytea, pg_current_xact_id()::text::bigint) on conflict (token) do"
     " update set made = commits.made returning keys is not null"},
    {"prune",
     "with old as (delete from commits where made < now() - interval '5 minutes' returning xid) update store set"
     " horizon = greatest(horizon, o.next) from (select max(xid) + 1 as next from old) o where o.next is not null"},
    {"reserve",
     "insert into numbers values ($1::bytea, $2::int4 + $3::int4) on conflict (key) do update set next ="
     " greatest(numbers.next, $2) + $3 returning next - $3"},
};

#undef PS_COUNTS_OF_PAIR
#undef PS_STORE_OF
#undef PS_FAIL_WITH

}  // namespace ps::detail::statements
