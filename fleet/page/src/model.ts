// What the server says, in its own words, and the few things that are derived from it.

export const states = ["locked", "frequency-locked", "acquiring", "holdover", "freerun", "initializing", "unknown"] as const;
export type State = (typeof states)[number];
/** How a clock stands: its state, unless it has fallen silent. */
export type Standing = State | "silent";
export const standings: readonly Standing[] = ["silent", "freerun", "holdover", "acquiring", "frequency-locked", "initializing", "unknown", "locked"];
export type Severity = "critical" | "major" | "warning";

export const standingNames: Record<Standing, string> = {
    locked: "Locked",
    "frequency-locked": "Frequency only",
    acquiring: "Acquiring",
    holdover: "Holdover",
    freerun: "Free-running",
    initializing: "Starting",
    unknown: "Not known",
    silent: "Silent",
};

export interface Row {
    index: number;
    clock: string;
    change: number;
    state: State;
    since: number | null;
    silent: boolean;
    heard: number | null;
    changed: number | null;
    identity: string | null;
    grandmaster: string | null;
    parent: string | null;
    steps: number | null;
    clock_class: number | null;
    grandmaster_class: number | null;
    priority1: number | null;
    priority2: number | null;
    domain: number | null;
    offset: number | null;
    delay: number | null;
    alarms: number;
    severity: Severity | null;
}

export interface Rows {
    time: number;
    change: number;
    complete: boolean;
    columns: (keyof Row)[];
    rows: unknown[][];
}

export interface Change {
    time: number;
    clock: string;
    what: string;
    before: string;
    after: string;
}

export interface Overview {
    time: number;
    change: number;
    clocks: number;
    counts: Record<Standing, number>;
    changed_last_hour: number;
    changes: Change[];
    alarms: Record<Severity | "unacknowledged", number>;
    grandmasters: { identity: string | null; clock: string | null; clock_class: number | null; followers: number }[];
}

export interface Message {
    message: string;
    about: string;
    time: number;
    changed_at: number | null;
    changed: string[];
    fields: Record<string, unknown>;
}

export interface OneClock {
    clock: string;
    time: number;
    change: number;
    row: Row;
    data_sets: Message[];
    configuration: Message[];
}

export interface Series {
    from: number;
    to: number;
    time: number[];
    count: number[];
    offset_min: number[];
    offset_mean: number[];
    offset_max: number[];
    delay_mean: number[];
}

export interface Difference {
    from: number;
    to: number;
    fields: { message: string; about: string; path: string; before: unknown; after: unknown }[];
}

/** index, identity, standing, parent, was_below, disagrees, duplicate */
export type TreeNode = [number | null, string | null, string, number | null, number | null, boolean, boolean];

export interface Tree {
    time: number;
    change: number;
    nodes: TreeNode[];
    loops: number[][];
}

export interface Alarm {
    id: number;
    rule: string;
    severity: Severity;
    clock: string;
    since: number;
    ended: number | null;
    text: string;
    before: Change[];
    acknowledged: { by: string; time: number; comment: string } | null;
    silenced: { by: string; until: number } | null;
}

export interface Command {
    id: number;
    element: string;
    time: number;
    by: string;
    message: string;
    command: Record<string, unknown> | null;
    version: number;
    fate: "sent" | "answered" | "silent" | "conflict" | "refused";
    reason: string;
    answer: Change[];
}

export interface Session {
    takes_commands: boolean;
    operator: string | null;
}

export function standingOf(row: Row): Standing {
    return row.silent ? "silent" : row.state;
}

export function isBroken(row: Row): boolean {
    return standingOf(row) !== "locked";
}
