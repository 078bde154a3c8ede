-- The hub's tables and functions, version 1. Run once, in one transaction, by the owner of the
-- database. Machines call the functions and see no table.
--
-- Times are milliseconds since 1970 by this server's clock, states go by their names, texts are
-- UTF-8. A function may be called again with the same words when its answer was lost.
--
-- Who listens on mvsms_ready hears of which service a page can be had, on mvsms_result of which
-- machine's page there is news. Hints: whoever hears nothing looks every few seconds.

CREATE SCHEMA mvsms;
REVOKE ALL ON SCHEMA mvsms FROM PUBLIC;

DO $$ BEGIN
  CREATE ROLE mvsms_worker NOLOGIN;
EXCEPTION WHEN duplicate_object THEN NULL;
END $$;

CREATE TABLE mvsms.hub(
  version integer NOT NULL,
  -- The oldest version whose programs find everything here as they know it. So those can go on while
  -- machines are upgraded one after the other.
  serves_from integer NOT NULL DEFAULT 1,
  held text NOT NULL DEFAULT '');
INSERT INTO mvsms.hub(version) VALUES(0);

CREATE TABLE mvsms.pages(
  position bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  id text NOT NULL UNIQUE,
  profile text NOT NULL,
  recipient text NOT NULL,
  number text NOT NULL,
  originator text NOT NULL,
  text text NOT NULL,
  service text NOT NULL,
  fallback text NOT NULL,
  priority integer NOT NULL,
  not_before bigint NOT NULL,
  expires bigint NOT NULL,
  origin text NOT NULL,
  quick text NOT NULL,                -- pauses before the first tries, in seconds
  retries integer NOT NULL,           -- after those; -1: as whoever sends the page has it
  delay bigint NOT NULL,              -- minutes between them
  repeats_unknown boolean NOT NULL,
  state text NOT NULL DEFAULT 'ready',
  epoch bigint NOT NULL DEFAULT 0,
  arrived bigint NOT NULL,
  changed bigint NOT NULL,
  lease_until bigint NOT NULL DEFAULT 0,
  holder text NOT NULL DEFAULT '',
  attempts integer NOT NULL DEFAULT 0,
  perhaps_twice boolean NOT NULL DEFAULT false,
  more integer NOT NULL DEFAULT 0,
  joined text NOT NULL DEFAULT '',
  outcome text NOT NULL DEFAULT '',
  reason text NOT NULL DEFAULT '',
  answer text NOT NULL DEFAULT '',
  modem text NOT NULL DEFAULT '',
  perhaps_out boolean NOT NULL DEFAULT false,
  offer bigint NOT NULL DEFAULT 0,     -- by which its origin has last offered it
  seen boolean NOT NULL DEFAULT false, -- its origin knows that it is in this state
  withdrawn boolean NOT NULL DEFAULT false)
  WITH (fillfactor = 70);
CREATE INDEX pages_by_turn ON mvsms.pages(profile, service, priority, position) WHERE state = 'ready';
CREATE INDEX pages_by_due ON mvsms.pages(profile, not_before) WHERE state = 'ready';
CREATE INDEX pages_by_end ON mvsms.pages(expires) WHERE state = 'ready';
-- By the beginning of the number: an index takes no text of some thousand characters, and one such
-- page would keep all claims from being made.
CREATE INDEX pages_waited_for ON mvsms.pages(profile, left(number, 64), priority, position)
  WHERE state IN ('claimed', 'dialling') OR (state = 'ready' AND attempts > 0);
CREATE INDEX pages_by_lease ON mvsms.pages(lease_until) WHERE state IN ('claimed', 'dialling');
CREATE INDEX pages_by_state ON mvsms.pages(state, withdrawn, arrived);
CREATE INDEX pages_by_change ON mvsms.pages(changed);
CREATE INDEX pages_with_news ON mvsms.pages(origin, changed) WHERE NOT seen AND NOT withdrawn
  AND state IN ('accepted', 'unknown', 'parked', 'cancelled', 'expired');

CREATE TABLE mvsms.tries(
  id text NOT NULL REFERENCES mvsms.pages(id) ON DELETE CASCADE,
  epoch bigint NOT NULL,
  holder text NOT NULL,
  begun bigint NOT NULL,
  ended bigint NOT NULL DEFAULT 0,
  outcome text NOT NULL DEFAULT '',
  reason text NOT NULL DEFAULT '',
  modem text NOT NULL DEFAULT '',
  late boolean NOT NULL DEFAULT false,
  PRIMARY KEY(id, epoch));

CREATE TABLE mvsms.machines(
  name text PRIMARY KEY,
  home text NOT NULL,                    -- what tells it from another one of that name
  version text NOT NULL,
  services text[] NOT NULL,
  modems integer NOT NULL,
  free integer NOT NULL,
  at_hub integer NOT NULL,
  seen bigint NOT NULL,
  beats bigint NOT NULL DEFAULT 1,     -- how often it has spoken of itself
  told boolean NOT NULL DEFAULT false);  -- what it knew, since the hub is held

CREATE FUNCTION mvsms.clock() RETURNS bigint LANGUAGE sql VOLATILE AS
  $$ SELECT (extract(epoch FROM clock_timestamp()) * 1000)::bigint $$;

CREATE FUNCTION mvsms.version() RETURNS integer LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ SELECT version FROM hub $$;

CREATE FUNCTION mvsms.serves_from() RETURNS integer LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ SELECT serves_from FROM hub $$;

-- The pages, one a row of texts: id, profile, recipient, number, originator, text, service,
-- fallback, priority, not_before, expires, origin, quick, retries, delay, repeats_unknown, attempts,
-- perhaps_twice, more, the milliseconds in which it joins another one, and its offer.
CREATE FUNCTION mvsms.submit(given text[]) RETURNS bigint LANGUAGE plpgsql SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$
DECLARE
  moment bigint := clock();
  taken bigint := 0;
  one text[];
  known pages;
  fresh pages;
  alike bigint;
BEGIN
  FOREACH one SLICE 1 IN ARRAY given LOOP
    SELECT * INTO known FROM pages WHERE id = one[1] FOR UPDATE;
    IF FOUND THEN
      CONTINUE WHEN known.offer >= one[21]::bigint;
      UPDATE pages SET offer = one[21]::bigint WHERE id = one[1];
      CONTINUE WHEN known.state IN ('claimed', 'dialling')
        OR NOT (known.seen OR known.withdrawn OR known.state IN ('ready', 'held'));
      UPDATE pages SET state = 'ready', changed = moment, seen = false, withdrawn = false,
          recipient = one[3], number = one[4], originator = one[5], text = one[6], service = one[7],
          fallback = one[8], priority = one[9]::integer, not_before = one[10]::bigint,
          expires = one[11]::bigint, profile = one[2], origin = one[12], quick = one[13],
          retries = one[14]::integer, delay = one[15]::bigint, repeats_unknown = one[16]::boolean,
          attempts = one[17]::integer, perhaps_twice = perhaps_twice OR one[18]::boolean,
          more = one[19]::integer
        WHERE id = one[1];
      taken := taken + 1;
      PERFORM pg_notify('mvsms_ready', one[7]);
      CONTINUE;
    END IF;
    INSERT INTO pages(id, profile, recipient, number, originator, text, service, fallback, priority,
                      not_before, expires, origin, quick, retries, delay, repeats_unknown, attempts,
                      perhaps_twice, more, offer, arrived, changed)
      VALUES(one[1], one[2], one[3], one[4], one[5], one[6], one[7], one[8], one[9]::integer,
             one[10]::bigint, one[11]::bigint, one[12], one[13], one[14]::integer, one[15]::bigint,
             one[16]::boolean, one[17]::integer, one[18]::boolean, one[19]::integer, one[21]::bigint,
             moment, moment)
      ON CONFLICT(id) DO NOTHING RETURNING * INTO fresh;
    CONTINUE WHEN NOT FOUND;
    taken := taken + 1;
    PERFORM pg_notify('mvsms_ready', fresh.service);
    CONTINUE WHEN one[20]::bigint <= 0 OR fresh.not_before > moment;
    SELECT position INTO alike FROM pages
      WHERE state = 'ready' AND profile = fresh.profile AND number = fresh.number
        AND originator = fresh.originator AND text = fresh.text AND origin = fresh.origin
        AND position < fresh.position AND arrived >= moment - one[20]::bigint
      ORDER BY position LIMIT 1 FOR UPDATE;
    CONTINUE WHEN NOT FOUND;
    UPDATE pages SET state = 'joined', text = '', joined = (SELECT id FROM pages WHERE position = alike)
      WHERE position = fresh.position;
    UPDATE pages SET more = more + 1, priority = least(priority, fresh.priority),
                     expires = greatest(expires, fresh.expires) WHERE position = alike;
  END LOOP;
  RETURN taken;
END $$;

-- Claims are made one after the other: the order of pages to one number depends on all of them. So
-- each has to be short, however many pages wait. The first of each service stands at the beginning of
-- the index pages_by_turn; the settings keep the planner, who may know the table as it was when it was
-- empty, from reading all of them and sorting.
CREATE FUNCTION mvsms.claim(taker text, of_profile text, services text[], lease bigint)
  RETURNS SETOF mvsms.pages LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp
  SET enable_seqscan = off SET enable_bitmapscan = off SET enable_sort = off SET jit = off AS $$
DECLARE
  moment bigint;
BEGIN
  PERFORM pg_advisory_xact_lock(hashtext('mvsms.claim'));
  moment := clock();
  RETURN QUERY UPDATE pages SET state = 'claimed', holder = taker, epoch = epoch + 1,
      changed = moment, lease_until = moment + lease
    WHERE position = (
      SELECT first.position FROM unnest(services) AS one(service), LATERAL (
        SELECT page.position, page.priority FROM pages AS page
          WHERE page.state = 'ready' AND page.profile = of_profile AND page.service = one.service
            AND page.not_before <= moment AND page.expires > moment
            AND (SELECT true FROM pages AS other
              WHERE other.profile = page.profile AND left(other.number, 64) = left(page.number, 64)
                AND other.number = page.number
                AND other.priority = page.priority AND other.position < page.position
                AND (other.state IN ('claimed', 'dialling')
                     OR (other.state = 'ready' AND other.attempts > 0)) LIMIT 1) IS NULL
          ORDER BY page.priority, page.position LIMIT 1 FOR UPDATE SKIP LOCKED) AS first
        WHERE NOT EXISTS(SELECT 1 FROM hub WHERE held <> '')
        ORDER BY first.priority, first.position LIMIT 1)
    RETURNING *;
END $$;

CREATE FUNCTION mvsms.begin(of text, mine bigint, lease bigint) RETURNS boolean
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  moment bigint := clock();
BEGIN
  UPDATE pages SET state = 'dialling', attempts = attempts + 1, changed = moment,
                   lease_until = moment + lease
    WHERE id = of AND epoch = mine AND state = 'claimed' AND lease_until > moment;
  IF NOT FOUND THEN RETURN false; END IF;
  INSERT INTO tries(id, epoch, holder, begun)
    SELECT id, epoch, holder, moment FROM pages WHERE id = of;
  RETURN true;
END $$;

CREATE FUNCTION mvsms.extend(of text, mine bigint, claimed_lease bigint, dialling_lease bigint)
  RETURNS boolean LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
BEGIN
  UPDATE pages SET lease_until = clock() +
      CASE state WHEN 'claimed' THEN claimed_lease ELSE dialling_lease END
    WHERE id = of AND epoch = mine AND state IN ('claimed', 'dialling');
  RETURN FOUND;
END $$;

CREATE FUNCTION mvsms.give_back(of text, mine bigint) RETURNS boolean
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  what text;
BEGIN
  UPDATE pages SET state = 'ready', changed = clock(), holder = '', lease_until = 0,
      attempts = attempts - (state = 'dialling')::integer
    WHERE id = of AND epoch = mine AND state IN ('claimed', 'dialling') RETURNING service INTO what;
  IF NOT FOUND THEN RETURN false; END IF;
  DELETE FROM tries WHERE id = of AND epoch = mine;
  PERFORM pg_notify('mvsms_ready', what);
  RETURN true;
END $$;

CREATE FUNCTION mvsms.ended(of text, mine bigint, its_outcome text, its_reason text, its_modem text)
  RETURNS boolean LANGUAGE plpgsql SET search_path = mvsms, pg_temp AS $$
BEGIN
  UPDATE tries SET ended = clock(), outcome = its_outcome, reason = its_reason, modem = its_modem
    WHERE id = of AND epoch = mine;
  RETURN FOUND;
END $$;

CREATE FUNCTION mvsms.finish(of text, mine bigint, end_state text, its_outcome text, its_reason text,
                             its_answer text, its_modem text, may_be_out boolean, forget boolean)
  RETURNS boolean LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  whose text;
BEGIN
  UPDATE pages SET state = end_state, changed = clock(), holder = '', lease_until = 0, seen = false,
      outcome = its_outcome, reason = its_reason, answer = its_answer, modem = its_modem,
      perhaps_out = may_be_out, text = CASE WHEN forget THEN '' ELSE text END
    WHERE id = of AND epoch = mine AND state IN ('dialling', 'unknown')
      AND end_state IN ('accepted', 'parked')
    RETURNING origin INTO whose;
  IF NOT FOUND THEN RETURN false; END IF;
  PERFORM pg_notify('mvsms_result', whose);
  PERFORM ended(of, mine, its_outcome, its_reason, its_modem);
  RETURN true;
END $$;

CREATE FUNCTION mvsms.try_again(of text, mine bigint, due bigint, its_outcome text, its_reason text,
                                its_answer text, its_modem text, may_be_out boolean)
  RETURNS boolean LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
BEGIN
  UPDATE pages SET state = 'ready', changed = clock(), holder = '', lease_until = 0, not_before = due,
      service = CASE fallback WHEN '' THEN service ELSE fallback END,
      fallback = CASE fallback WHEN '' THEN '' ELSE service END,
      outcome = its_outcome, reason = its_reason, answer = its_answer, modem = its_modem,
      perhaps_out = may_be_out, perhaps_twice = perhaps_twice OR may_be_out, seen = false
    WHERE id = of AND epoch = mine AND state IN ('dialling', 'unknown');
  IF NOT FOUND THEN RETURN false; END IF;
  PERFORM ended(of, mine, its_outcome, its_reason, its_modem);
  RETURN true;
END $$;

CREATE FUNCTION mvsms.late(of text, mine bigint, its_outcome text, its_reason text, its_answer text,
                           its_modem text, may_be_out boolean)
  RETURNS void LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
BEGIN
  IF NOT ended(of, mine, its_outcome, its_reason, its_modem) THEN RETURN; END IF;
  UPDATE pages SET perhaps_twice = perhaps_twice OR its_outcome = 'accepted' OR may_be_out,
                   seen = seen AND (perhaps_twice OR NOT (its_outcome = 'accepted' OR may_be_out))
    WHERE id = of AND epoch > mine;
  IF FOUND THEN
    UPDATE tries SET late = true WHERE id = of AND epoch = mine;
    RETURN;
  END IF;
  UPDATE pages SET state = 'accepted', changed = clock(), seen = false, outcome = its_outcome,
      reason = its_reason, answer = its_answer, modem = its_modem, perhaps_out = may_be_out
    WHERE id = of AND epoch = mine AND state = 'parked' AND its_outcome = 'accepted';
END $$;

CREATE FUNCTION mvsms.divert(of_profile text, services text[]) RETURNS bigint
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  diverted bigint;
BEGIN
  UPDATE pages SET service = fallback, fallback = service
    WHERE state = 'ready' AND profile = of_profile AND fallback <> '' AND service = ANY(services)
      AND fallback <> ALL(services);
  GET DIAGNOSTICS diverted = ROW_COUNT;
  RETURN diverted;
END $$;

CREATE FUNCTION mvsms.holders() RETURNS SETOF text LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS
  $$ SELECT DISTINCT holder FROM pages WHERE state IN ('claimed', 'dialling') $$;

CREATE FUNCTION mvsms.sweep(gone text[], doubt text) RETURNS void
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  moment bigint := clock();
BEGIN
  WITH left_behind AS (
    SELECT position FROM pages WHERE state IN ('claimed', 'dialling')
      AND (lease_until <= moment OR holder = ANY(gone)) FOR UPDATE SKIP LOCKED)
  UPDATE pages SET changed = moment, holder = '', lease_until = 0, seen = false,
      state = CASE state WHEN 'claimed' THEN 'ready' ELSE 'unknown' END,
      outcome = CASE state WHEN 'claimed' THEN outcome ELSE 'unknown' END,
      reason = CASE state WHEN 'claimed' THEN reason ELSE doubt END,
      answer = CASE state WHEN 'claimed' THEN answer ELSE '' END,
      modem = CASE state WHEN 'claimed' THEN modem ELSE '' END,
      perhaps_out = CASE state WHEN 'claimed' THEN perhaps_out ELSE true END
    WHERE position IN (SELECT position FROM left_behind);
  UPDATE pages SET state = 'expired', changed = moment, seen = false
    WHERE state = 'ready' AND expires <= moment;
END $$;

CREATE FUNCTION mvsms.operate(of text, from_states text[], to_state text, anew boolean, never bigint)
  RETURNS boolean LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  moment bigint := clock();
BEGIN
  UPDATE pages SET state = to_state, changed = moment, holder = '', lease_until = 0, seen = false
    WHERE id = of AND state = ANY(from_states) AND NOT withdrawn
      AND to_state IN ('ready', 'held', 'cancelled');
  IF NOT FOUND THEN RETURN false; END IF;
  IF anew THEN
    UPDATE pages SET attempts = 0, perhaps_twice = perhaps_twice OR perhaps_out, not_before = moment,
        expires = CASE WHEN expires <= moment THEN never ELSE expires END WHERE id = of;
  END IF;
  RETURN true;
END $$;

CREATE FUNCTION mvsms.find(of text) RETURNS SETOF mvsms.pages LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ SELECT * FROM pages WHERE id = of $$;

-- By the index of the states, whatever the planner thinks: each machine looks for the few unknown
-- pages among a million finished ones.
CREATE FUNCTION mvsms.list(states text[], after bigint, most bigint, since bigint, newest boolean)
  RETURNS SETOF mvsms.pages LANGUAGE sql STABLE SECURITY DEFINER SET search_path = mvsms, pg_temp
  SET enable_seqscan = off SET jit = off AS $$
  SELECT * FROM pages WHERE state = ANY(states) AND position + 0 > after AND changed + 0 >= since
    ORDER BY CASE WHEN newest THEN -position ELSE position END LIMIT most $$;

CREATE FUNCTION mvsms.stats() RETURNS TABLE(state text, pages bigint, oldest bigint)
  LANGUAGE sql STABLE SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
  SELECT page.state, count(*), min(page.arrived) FROM pages AS page WHERE NOT page.withdrawn
    GROUP BY page.state $$;

-- What is waited for at all, and from `due` on.
CREATE FUNCTION mvsms.waited(of_profile text, due boolean)
  RETURNS TABLE(service text, priority integer)
  LANGUAGE sql VOLATILE SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
  SELECT page.service, min(page.priority) FROM pages AS page
    WHERE page.state = 'ready' AND page.profile = of_profile
      AND (NOT due OR (page.not_before <= (SELECT clock()) AND page.expires > (SELECT clock())
                       AND NOT EXISTS(SELECT 1 FROM hub WHERE held <> '')))
    GROUP BY page.service ORDER BY page.service COLLATE "C" $$;

CREATE FUNCTION mvsms.next_due(of_profile text) RETURNS SETOF bigint LANGUAGE sql STABLE
  SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
  SELECT not_before FROM pages WHERE state = 'ready' AND profile = of_profile
    ORDER BY not_before LIMIT 1 $$;

-- Some thousand at a time, so that a call is short however many there are.
CREATE FUNCTION mvsms.prune(states text[], before bigint, most bigint) RETURNS bigint
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  pruned bigint;
BEGIN
  DELETE FROM pages WHERE position IN (
    SELECT position FROM pages WHERE state = ANY(states) AND changed < before
        AND state IN ('accepted', 'cancelled', 'expired', 'joined')
        AND (seen OR withdrawn OR origin = '')
      ORDER BY changed LIMIT most FOR UPDATE SKIP LOCKED);
  GET DIAGNOSTICS pruned = ROW_COUNT;
  RETURN pruned;
END $$;

CREATE FUNCTION mvsms.withdraw(of text, in_offer bigint, never bigint) RETURNS boolean
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  moment bigint := clock();
BEGIN
  INSERT INTO pages(id, profile, recipient, number, originator, text, service, fallback, priority,
                    not_before, expires, origin, quick, retries, delay, repeats_unknown, state,
                    arrived, changed, withdrawn, offer)
    VALUES(of, '', '', '', '', '', '', '', 0, 0, never, '', '', -1, 0, false, 'cancelled', moment,
           moment, true, in_offer)
    ON CONFLICT(id) DO UPDATE SET state = 'cancelled', changed = moment, withdrawn = true, text = '',
        offer = greatest(pages.offer, in_offer)
      WHERE pages.state IN ('ready', 'held') OR pages.withdrawn;
  RETURN FOUND;
END $$;

CREATE FUNCTION mvsms.results(of_origin text, most bigint) RETURNS SETOF mvsms.pages
  LANGUAGE sql STABLE SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
  SELECT * FROM pages WHERE origin = of_origin AND NOT seen AND NOT withdrawn
      AND state IN ('accepted', 'unknown', 'parked', 'cancelled', 'expired')
    ORDER BY changed, position LIMIT most $$;

CREATE FUNCTION mvsms.seen(of text, in_epoch bigint, in_state text) RETURNS boolean
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
BEGIN
  UPDATE pages SET seen = true WHERE id = of AND epoch = in_epoch AND state = in_state;
  RETURN FOUND;
END $$;

CREATE FUNCTION mvsms.tries(of text) RETURNS SETOF mvsms.tries LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ SELECT * FROM tries WHERE id = of ORDER BY epoch $$;

CREATE FUNCTION mvsms.beat(its_name text, its_home text, its_version text, its_services text[],
                           its_modems integer, its_free integer, its_at_hub integer, lives bigint)
  RETURNS TABLE(moment bigint, held boolean, told boolean, beats bigint, twin boolean)
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
BEGIN
  moment := clock();
  INSERT INTO machines AS known
    VALUES(its_name, its_home, its_version, its_services, its_modems, its_free, its_at_hub, moment)
    ON CONFLICT(name) DO UPDATE SET home = its_home, version = its_version,
      services = its_services, modems = its_modems, free = its_free, at_hub = its_at_hub,
      seen = moment, beats = known.beats + 1
      WHERE known.home = its_home OR known.seen <= moment - lives
    RETURNING known.told, known.beats INTO told, beats;
  twin := NOT FOUND;
  held := (SELECT hub.held <> '' FROM hub);
  RETURN NEXT;
END $$;

CREATE FUNCTION mvsms.machines() RETURNS SETOF mvsms.machines LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ SELECT * FROM machines ORDER BY name COLLATE "C" $$;

CREATE FUNCTION mvsms.rests(of_origin text, lives bigint)
  RETURNS TABLE(unfetched bigint, unfetched_since bigint, unknown bigint, unserved text[])
  LANGUAGE sql VOLATILE SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
  SELECT
    (SELECT count(*) FROM pages WHERE origin <> '' AND of_origin IN ('', origin) AND NOT seen
       AND NOT withdrawn AND state IN ('accepted', 'unknown', 'parked', 'cancelled', 'expired')),
    (SELECT coalesce(min(changed), 0) FROM pages
       WHERE origin <> '' AND of_origin IN ('', origin) AND NOT seen
       AND NOT withdrawn AND state IN ('accepted', 'unknown', 'parked', 'cancelled', 'expired')),
    (SELECT count(*) FROM pages WHERE of_origin IN ('', origin) AND state = 'unknown'
       AND changed <= (SELECT clock()) - 600000),
    (SELECT coalesce(array_agg(DISTINCT page.service), '{}') FROM pages AS page
       WHERE of_origin IN ('', page.origin) AND page.state = 'ready'
       AND NOT EXISTS(SELECT 1 FROM machines AS machine WHERE page.service = ANY(machine.services)
                      AND machine.seen > (SELECT clock()) - lives)) $$;

CREATE FUNCTION mvsms.hold(why text) RETURNS void
  LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
BEGIN
  UPDATE hub SET held = why WHERE held = '';
  UPDATE machines SET told = false;  -- even a held one may be older than it was
END $$;

CREATE FUNCTION mvsms.has_told(its_name text) RETURNS void LANGUAGE sql SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ UPDATE machines SET told = true WHERE name = its_name $$;

-- What a machine's record says of a try, told again to a hub that may have forgotten it.
CREATE FUNCTION mvsms.replay(of text, of_origin text, mine bigint, its_holder text, end_state text,
                             its_outcome text, its_reason text, its_answer text, its_modem text,
                             may_be_out boolean, forget boolean, never bigint)
  RETURNS boolean LANGUAGE plpgsql SECURITY DEFINER SET search_path = mvsms, pg_temp AS $$
DECLARE
  moment bigint := clock();
  over boolean := end_state IN ('accepted', 'parked');
  late boolean := false;
  known pages;
BEGIN
  IF NOT over AND end_state NOT IN ('ready', 'unknown') THEN RETURN false; END IF;
  SELECT * INTO known FROM pages WHERE id = of FOR UPDATE;
  IF EXISTS(SELECT 1 FROM tries WHERE id = of AND epoch = mine AND ended > 0) THEN
    RETURN false;
  END IF;
  IF known.id IS NULL THEN
    IF NOT over AND NOT may_be_out THEN RETURN false; END IF;
    INSERT INTO pages(id, profile, recipient, number, originator, text, service, fallback, priority,
                      not_before, expires, origin, quick, retries, delay, repeats_unknown, state,
                      epoch, attempts, arrived, changed, offer, outcome, reason, answer, modem,
                      perhaps_out)
      VALUES(of, '', '', '', '', '', '', '', 0, 0, never, of_origin, '', -1, 0, false,
             CASE WHEN over THEN end_state ELSE 'parked' END, mine, 1, moment, moment, -1,
             its_outcome, its_reason, its_answer, its_modem, may_be_out);
  ELSIF known.epoch > mine OR (known.state = 'accepted' AND end_state <> 'accepted') THEN
    late := true;
    UPDATE pages SET epoch = greatest(epoch, mine),
                     perhaps_twice = perhaps_twice OR end_state = 'accepted' OR may_be_out,
                     seen = seen AND (perhaps_twice OR NOT (end_state = 'accepted' OR may_be_out))
      WHERE id = of;
  ELSE
    UPDATE pages SET epoch = mine, changed = moment, holder = '', lease_until = 0,
        -- Without its words, of a page that only a try was told of, nobody can repeat it.
        state = CASE WHEN over OR profile <> '' THEN end_state ELSE 'parked' END,
        seen = false, withdrawn = false, outcome = its_outcome, reason = its_reason,
        answer = its_answer, modem = its_modem, attempts = attempts + 1,
        text = CASE WHEN over AND forget THEN '' ELSE text END,
        perhaps_out = may_be_out OR (profile = '' AND perhaps_out),
        perhaps_twice = perhaps_twice OR (end_state = 'ready' AND may_be_out)
          OR (epoch < mine AND (perhaps_out OR state IN ('dialling', 'unknown', 'accepted')))
      WHERE id = of;
  END IF;
  INSERT INTO tries(id, epoch, holder, begun, late)
    VALUES(of, mine, its_holder, moment, late) ON CONFLICT DO NOTHING;
  PERFORM ended(of, mine, its_outcome, its_reason, its_modem);
  RETURN NOT late;
END $$;

CREATE FUNCTION mvsms.held() RETURNS text LANGUAGE sql STABLE SECURITY DEFINER
  SET search_path = mvsms, pg_temp AS $$ SELECT held FROM hub $$;

-- Not granted: an operator's, who is the owner.
CREATE FUNCTION mvsms.release() RETURNS void LANGUAGE sql SET search_path = mvsms, pg_temp AS
  $$ UPDATE hub SET held = '' $$;

REVOKE ALL ON ALL FUNCTIONS IN SCHEMA mvsms FROM PUBLIC;
GRANT USAGE ON SCHEMA mvsms TO mvsms_worker;
GRANT EXECUTE ON ALL FUNCTIONS IN SCHEMA mvsms TO mvsms_worker;
REVOKE EXECUTE ON FUNCTION mvsms.release(), mvsms.ended(text, bigint, text, text, text)
  FROM mvsms_worker;
