// All clocks as they are now: fetched once, then kept up to date by what the server streams.
import { useEffect, useState } from "preact/hooks";
import { get } from "./api";
import { sortKey } from "./format";
import { Alarm, Overview, Row, Rows } from "./model";

const manyClocks = 2000;

export interface Clock extends Row {
    key: string; // sorts as people count
    words: string; // what a search finds it by, beside the names of those that it follows
}

type Topic = "clocks" | "offsets" | "overview" | "alarms" | "link";

class Fleet {
    readonly clocks: Clock[] = []; // by index
    readonly byName = new Map<string, Clock>();
    readonly byIdentity = new Map<string, Clock>();
    overview: Overview | null = null;
    alarms: Alarm[] | null = null;
    isComplete = false;
    /** When the connection was lost; null while it stands. */
    lostAt: number | null = null;
    trouble: string | null = null;
    /** By how much the server's clock is ahead of this machine's. */
    private ahead = 0;
    private change = 0;
    private readonly listeners = new Map<Topic, Set<() => void>>();
    private readonly due = new Set<Topic>();

    /** By the server's clock: this machine's may be wrong, which is what people look for here. */
    now(): number {
        return Date.now() + this.ahead;
    }

    nameOf(identity: string | null): string | null {
        return identity === null ? null : (this.byIdentity.get(identity)?.clock ?? null);
    }

    on(topic: Topic, listener: () => void): () => void {
        const all = this.listeners.get(topic) ?? new Set();
        this.listeners.set(topic, all.add(listener));
        return () => all.delete(listener);
    }

    async start(): Promise<void> {
        try {
            this.takeOverview(await get<Overview>("overview"));
            this.takeRows(await get<Rows>("clocks"));
            this.link(null);
            this.listen();
            void this.fetchAlarms();
            void this.fetchOffsets();
        } catch (error) {
            this.trouble = String(error instanceof Error ? error.message : error);
            this.link(this.lostAt ?? Date.now());
            setTimeout(() => void this.start(), 2000);
        }
    }

    async fetchAlarms(): Promise<void> {
        try {
            this.alarms = (await get<{ alarms: Alarm[] }>("alarms?ended=50")).alarms;
            this.tell("alarms");
        } catch {
            // The stream says when it is worth another try.
        }
    }

    /** A browser has six connections to a server, over all its tabs: a page that nobody sees leaves its own to others. */
    private listen(): void {
        if (document.visibilityState === "hidden") {
            document.addEventListener("visibilitychange", () => this.listen(), { once: true });
            return;
        }
        const stream = new EventSource(`api/v1/stream?since=${this.change}`);
        const leave = () => {
            stream.close();
            this.listen();
        };
        document.addEventListener("visibilitychange", leave, { once: true });
        const hear = (name: string, take: (data: string) => void) =>
            stream.addEventListener(name, (event) => {
                this.link(null);
                take((event as MessageEvent<string>).data);
            });
        hear("clocks", (data) => this.takeRows(JSON.parse(data)));
        hear("overview", (data) => this.takeOverview(JSON.parse(data)));
        hear("alarms", () => void this.fetchAlarms());
        stream.onopen = () => this.link(null);
        stream.onerror = () => {
            this.link(this.lostAt ?? Date.now());
            if (stream.readyState === EventSource.CLOSED) {
                document.removeEventListener("visibilitychange", leave);
                setTimeout(() => this.listen(), 2000);
            }
        };
    }

    private async fetchOffsets(): Promise<void> {
        if (document.visibilityState === "visible" && this.lostAt === null) {
            try {
                this.takeRows(await get<Rows>("clocks?columns=index,offset,delay,heard"));
            } catch {
                // What is old is shown as old; the stream tells of a lost connection.
            }
        }
        setTimeout(() => void this.fetchOffsets(), this.clocks.length > manyClocks ? 10000 : 2000);
    }

    private takeOverview(overview: Overview): void {
        this.ahead = overview.time - Date.now();
        this.overview = overview;
        this.tell("overview");
    }

    private takeRows(rows: Rows): void {
        const isWhole = rows.columns.includes("clock");
        if (isWhole && rows.complete) {
            this.clocks.length = 0;
            this.byName.clear();
            this.byIdentity.clear();
        }
        const at = rows.columns.indexOf("index");
        for (const values of rows.rows) {
            const index = values[at] as number;
            const clock = this.clocks[index] ?? ({} as Clock);
            rows.columns.forEach((column, i) => ((clock as unknown as Record<string, unknown>)[column] = values[i]));
            if (isWhole) {
                this.file(clock);
            }
        }
        if (isWhole) {
            this.change = rows.change;
            this.isComplete = true;
        }
        this.tell(isWhole ? "clocks" : "offsets");
    }

    private file(clock: Clock): void {
        clock.key = sortKey(clock.clock);
        clock.words = `${clock.clock} ${clock.identity} ${clock.grandmaster}`.toLowerCase();
        this.clocks[clock.index] = clock;
        this.byName.set(clock.clock, clock);
        if (clock.identity !== null) {
            this.byIdentity.set(clock.identity, clock);
        }
    }

    private link(lostAt: number | null): void {
        if (lostAt !== this.lostAt) {
            this.lostAt = lostAt;
            this.tell("link");
        }
    }

    /** Many changes at once are drawn once. */
    private tell(topic: Topic): void {
        if (this.due.has(topic)) {
            return;
        }
        this.due.add(topic);
        setTimeout(() => {
            this.due.delete(topic);
            this.listeners.get(topic)?.forEach((listener) => listener());
        }, 50);
    }
}

export const fleet = new Fleet();

/** Draws again when one of the topics changed; the number changes each time. */
export function useFleet(...topics: Topic[]): number {
    const [count, setCount] = useState(0);
    useEffect(() => {
        const ends = topics.map((topic) => fleet.on(topic, () => setCount((before) => before + 1)));
        return () => ends.forEach((end) => end());
    }, [topics.join()]);
    return count;
}

/** The time, drawn anew every so many milliseconds. */
export function useNow(every = 1000): number {
    const [, setCount] = useState(0);
    useEffect(() => {
        const timer = setInterval(() => setCount((before) => before + 1), every);
        return () => clearInterval(timer);
    }, [every]);
    return fleet.now();
}

/** What a request gives, asked again when `again` changes. */
export function useAnswer<Answer>(path: string | null, again: unknown = 0): { answer: Answer | null; trouble: string | null } {
    const [state, setState] = useState<{ path: string | null; answer: Answer | null; trouble: string | null }>({ path: null, answer: null, trouble: null });
    useEffect(() => {
        if (path === null) {
            return;
        }
        const ending = new AbortController();
        get<Answer>(path, ending.signal)
            .then((answer) => setState({ path, answer, trouble: null }))
            .catch((error: Error) => {
                if (!ending.signal.aborted) {
                    setState((before) => ({ path, answer: before.path === path ? before.answer : null, trouble: error.message }));
                }
            });
        return () => ending.abort();
    }, [path, again]);
    return { answer: path === null ? null : state.answer, trouble: state.trouble };
}

