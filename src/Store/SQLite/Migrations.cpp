#include "Store/SQLite/Migrations.h"

#include <algorithm>
#include <array>

namespace Keelhaven::Migrations {

using namespace Qt::StringLiterals;

namespace {

// A migration that has been released is never edited: files in the field carry its result.
Result<void, SQLiteError> v1(SQLiteConnection &connection)
{
    return connection.execute(uR"sql(
CREATE TABLE meta (
  key TEXT PRIMARY KEY,
  value TEXT NOT NULL
);

CREATE TABLE ships (
  id TEXT PRIMARY KEY,
  name TEXT NOT NULL,
  slug TEXT NOT NULL UNIQUE,
  builtin TEXT,
  enabled INTEGER NOT NULL DEFAULT 1,
  sort_order INTEGER NOT NULL DEFAULT 0,
  archived_at REAL,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL,
  payload TEXT NOT NULL
);

CREATE TABLE agents (
  id TEXT PRIMARY KEY,
  ship_id TEXT,
  kind TEXT NOT NULL DEFAULT 'scheduled',
  name TEXT NOT NULL,
  enabled INTEGER NOT NULL DEFAULT 0,
  provider TEXT NOT NULL DEFAULT 'claude',
  model TEXT,
  last_fired_at REAL,
  payload TEXT NOT NULL,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL
);
CREATE INDEX idx_agents_ship ON agents(ship_id, kind);

CREATE TABLE runs (
  id TEXT PRIMARY KEY,
  agent_id TEXT NOT NULL,
  agent_name TEXT NOT NULL,
  agent_kind TEXT NOT NULL DEFAULT 'scheduled',
  ship_id TEXT,
  work_item_id TEXT,
  dispatch_id TEXT,
  trigger TEXT NOT NULL,
  provider TEXT NOT NULL DEFAULT 'claude',
  model TEXT,
  cwd TEXT NOT NULL,
  project_dir TEXT,
  started_at REAL NOT NULL,
  ended_at REAL,
  outcome TEXT,
  is_failure INTEGER NOT NULL DEFAULT 0,
  session_id TEXT,
  launch_run_id TEXT,
  summary TEXT,
  completion_message TEXT,
  minutes REAL,
  input_tokens INTEGER,
  output_tokens INTEGER,
  cache_creation_tokens INTEGER,
  cache_read_tokens INTEGER,
  work_tokens INTEGER,
  hidden INTEGER NOT NULL DEFAULT 0,
  payload TEXT NOT NULL
);
CREATE INDEX idx_runs_ship_started ON runs(ship_id, started_at DESC);
CREATE INDEX idx_runs_agent_started ON runs(agent_id, started_at DESC);
CREATE INDEX idx_runs_work_item ON runs(work_item_id);
CREATE INDEX idx_runs_started ON runs(started_at DESC);

CREATE TABLE work_items (
  id TEXT PRIMARY KEY,
  ship_id TEXT NOT NULL,
  status TEXT NOT NULL,
  origin TEXT NOT NULL,
  dispatch_id TEXT,
  agent_id TEXT,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL,
  completed_at REAL,
  payload TEXT NOT NULL
);
CREATE INDEX idx_work_items_ship_status ON work_items(ship_id, status, updated_at DESC);

CREATE TABLE assets (
  id TEXT PRIMARY KEY,
  run_id TEXT NOT NULL,
  ship_id TEXT,
  work_item_id TEXT,
  path TEXT NOT NULL,
  stored_path TEXT,
  kind TEXT NOT NULL,
  mime TEXT,
  caption TEXT,
  bytes INTEGER,
  thumbnail_path TEXT,
  copied INTEGER NOT NULL DEFAULT 0,
  source TEXT NOT NULL,
  added_at REAL NOT NULL,
  UNIQUE(run_id, path)
);
CREATE INDEX idx_assets_ship ON assets(ship_id, added_at DESC);
CREATE INDEX idx_assets_run ON assets(run_id);

CREATE TABLE journal (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  run_id TEXT NOT NULL,
  ship_id TEXT,
  ts REAL NOT NULL,
  type TEXT NOT NULL,
  payload TEXT NOT NULL,
  UNIQUE(run_id, ts, type)
);
CREATE INDEX idx_journal_run ON journal(run_id, ts);

CREATE TABLE usage_samples (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  run_id TEXT NOT NULL,
  ship_id TEXT,
  session_id TEXT,
  ts REAL NOT NULL,
  model TEXT,
  input INTEGER NOT NULL,
  output INTEGER NOT NULL,
  cache_creation INTEGER NOT NULL,
  cache_read INTEGER NOT NULL,
  work_tokens INTEGER NOT NULL,
  source TEXT NOT NULL
);
CREATE INDEX idx_usage_run ON usage_samples(run_id, ts);
CREATE INDEX idx_usage_ship_ts ON usage_samples(ship_id, ts);
)sql"_s);
}

using Migration = Result<void, SQLiteError> (*)(SQLiteConnection &);

/// At index n the step from version n to n + 1.
constexpr std::array<Migration, schemaVersion> migrations = {v1};

} // namespace

Result<void, SQLiteError> apply(SQLiteConnection &connection)
{
    const auto version = connection.userVersion();
    if (!version)
        return failure(version.error());
    for (int step = std::max(*version, 0); step < schemaVersion; ++step) {
        const auto migrate = [&]() -> Result<void, SQLiteError> {
            // Another program that opened the new file at the same time may have come first.
            const auto present = connection.userVersion();
            if (!present)
                return failure(present.error());
            if (*present > step)
                return {};
            if (auto migrated = migrations[static_cast<size_t>(step)](connection); !migrated)
                return migrated;
            return connection.setUserVersion(step + 1);
        };
        if (auto applied = connection.transaction(migrate); !applied)
            return applied;
    }
    return {};
}

} // namespace Keelhaven::Migrations
