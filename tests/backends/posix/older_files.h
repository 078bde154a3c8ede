// Files as earlier releases wrote them, as the statements that make them.
#pragma once

namespace mvsms::posix {

/// queue.db of 1.0: a page that was tried, one that is held, and one that was cancelled.
inline constexpr const char* kFirstQueue[] = {
    "PRAGMA journal_mode = WAL",
    R"(CREATE TABLE pages(
        position INTEGER PRIMARY KEY AUTOINCREMENT,
        id TEXT NOT NULL UNIQUE,
        profile TEXT NOT NULL,
        recipient TEXT NOT NULL,
        number TEXT NOT NULL,
        originator TEXT NOT NULL,
        text TEXT NOT NULL,
        service TEXT NOT NULL,
        priority INTEGER NOT NULL,
        not_before INTEGER NOT NULL,
        expires INTEGER NOT NULL,
        state TEXT NOT NULL,
        epoch INTEGER NOT NULL DEFAULT 0,
        arrived INTEGER NOT NULL,
        changed INTEGER NOT NULL,
        lease_until INTEGER NOT NULL DEFAULT 0,
        holder TEXT NOT NULL DEFAULT '',
        attempts INTEGER NOT NULL DEFAULT 0,
        perhaps_twice INTEGER NOT NULL DEFAULT 0,
        outcome TEXT NOT NULL DEFAULT '',
        reason TEXT NOT NULL DEFAULT '',
        answer TEXT NOT NULL DEFAULT '',
        modem TEXT NOT NULL DEFAULT '',
        perhaps_out INTEGER NOT NULL DEFAULT 0))",
    "CREATE INDEX pages_by_turn ON pages(profile, service, priority, position, not_before, expires)"
    " WHERE state = 'ready'",
    "CREATE INDEX pages_waited_for ON pages(profile, number, priority, position)"
    " WHERE (state IN ('claimed', 'dialling') OR (state = 'ready' AND attempts > 0))",
    "CREATE INDEX pages_by_due ON pages(profile, not_before) WHERE state = 'ready'",
    "CREATE INDEX pages_by_state ON pages(state)",
    "INSERT INTO pages VALUES(1,'A1','Standard','01711','01711','','Pump 1 has stopped: gr\u00FCn',"
    "'City',5,0,9223372036854775807,'ready',1,1795354840688,1795354840688,0,'',1,0,'unreachable',"
    "'the line is busy','','',0)",
    "INSERT INTO pages VALUES(2,'A2','Standard','01712','01712','','Pump 2 has stopped','City',5,0,"
    "9223372036854775807,'held',0,1795354840815,1795354841066,0,'',0,0,'','','','',0)",
    "INSERT INTO pages VALUES(3,'A3','Standard','01713','01713','','Pump 3 has stopped','City',5,0,"
    "9223372036854775807,'cancelled',0,1795354840946,1795354841192,0,'',0,0,'','','','',0)",
    "PRAGMA user_version = 1"};

}  // namespace mvsms::posix
