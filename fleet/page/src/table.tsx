// All clocks in one table, with search, filter and sort.
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { Clock, fleet, useFleet, useNow } from "./fleet";
import { ago, count, nanoseconds } from "./format";
import { clockHref, ClockLink, IdentityLink } from "./links";
import { Standing, standingNames, standingOf, standings } from "./model";
import { severityNames, StandingSign, StandingText } from "./signs";
import { VirtualList } from "./virtual";

interface Column {
    name: string;
    label: string;
    title?: string;
    /** What it sorts by; nothing known comes last either way. */
    value: (clock: Clock) => number | string | null;
    isDescending?: boolean; // at the first click
    narrow?: boolean; // stays on narrow screens
    right?: boolean;
}

const severityRank = { critical: 3, major: 2, warning: 1 };

const columns: Column[] = [
    { name: "clock", label: "Clock", value: (clock) => clock.key, narrow: true },
    { name: "state", label: "State", value: (clock) => standings.indexOf(standingOf(clock)), narrow: true },
    { name: "since", label: "For", title: "How long it has been in this state", value: (clock) => clock.since, isDescending: true, right: true },
    { name: "offset", label: "Offset", title: "From its master; sorted by size", value: (clock) => (clock.offset === null ? null : Math.abs(clock.offset)), isDescending: true, narrow: true, right: true },
    { name: "delay", label: "Delay", title: "Mean path delay", value: (clock) => clock.delay, isDescending: true, right: true },
    { name: "grandmaster", label: "Grandmaster", value: (clock) => nameKey(clock.grandmaster) },
    { name: "parent", label: "Parent", value: (clock) => nameKey(clock.parent) },
    { name: "steps", label: "Steps", title: "Steps removed from the grandmaster", value: (clock) => clock.steps, isDescending: true, right: true },
    { name: "class", label: "Class", title: "Clock class: its own, and its grandmaster's", value: (clock) => clock.grandmaster_class, isDescending: true, right: true },
    { name: "changed", label: "Changed", title: "How long ago anything but offset and delay changed", value: (clock) => clock.changed, isDescending: true, right: true },
    { name: "alarms", label: "Alarms", value: (clock) => (clock.severity === null ? null : severityRank[clock.severity]), isDescending: true, narrow: true, right: true },
];

function nameKey(identity: string | null): string | null {
    return identity === null ? null : (fleet.byIdentity.get(identity)?.key ?? identity);
}

interface Wanted {
    search: string;
    states: Set<Standing>;
    sort: string;
    isDescending: boolean;
}

function readWanted(query: URLSearchParams): Wanted {
    const [, sign, name] = /^(-?)(.*)$/.exec(query.get("sort") ?? "clock") ?? ["", "", "clock"];
    const column = columns.find((each) => each.name === name) ?? columns[0]!;
    const states = (query.get("state") ?? "").split(",").filter((state): state is Standing => standings.includes(state as Standing));
    return { search: query.get("q") ?? "", states: new Set(states), sort: column.name, isDescending: (sign === "-") !== (column.isDescending ?? false) };
}

function writeWanted(wanted: Wanted): void {
    const query = new URLSearchParams();
    const column = columns.find((each) => each.name === wanted.sort)!;
    if (wanted.search !== "") {
        query.set("q", wanted.search);
    }
    if (wanted.states.size > 0) {
        query.set("state", [...wanted.states].join(","));
    }
    const sort = (wanted.isDescending !== (column.isDescending ?? false) ? "-" : "") + wanted.sort;
    if (sort !== "clock") {
        query.set("sort", sort);
    }
    const text = query.toString();
    history.replaceState(null, "", `#/clocks${text === "" ? "" : `?${text}`}`);
    dispatchEvent(new HashChangeEvent("hashchange"));
}

/** Words must all occur: in the name, the identity, or who it follows. */
function matcher(search: string): (clock: Clock) => boolean {
    const words = search.toLowerCase().split(/\s+/).filter(Boolean);
    const nameHas = (identity: string | null, word: string) => identity !== null && (fleet.byIdentity.get(identity)?.words.includes(word) ?? false);
    return (clock) => words.every((word) => clock.words.includes(word) || nameHas(clock.grandmaster, word) || nameHas(clock.parent, word));
}

function chosen(wanted: Wanted): { found: Clock[]; counts: Map<Standing, number> } {
    const matches = matcher(wanted.search);
    const counts = new Map<Standing, number>();
    const found: Clock[] = [];
    for (const clock of fleet.clocks) {
        if (matches(clock)) {
            const standing = standingOf(clock);
            counts.set(standing, (counts.get(standing) ?? 0) + 1);
            if (wanted.states.size === 0 || wanted.states.has(standing)) {
                found.push(clock);
            }
        }
    }
    const { value } = columns.find((column) => column.name === wanted.sort)!;
    const keyed = found.map((clock) => ({ clock, key: value(clock) }));
    const sign = wanted.isDescending ? -1 : 1;
    keyed.sort((a, b) => {
        if (a.key === b.key) {
            return a.clock.key < b.clock.key ? -1 : 1;
        }
        return a.key === null ? 1 : b.key === null ? -1 : a.key < b.key ? -sign : sign;
    });
    return { found: keyed.map(({ clock }) => clock), counts };
}

export function TableView({ query }: { query: URLSearchParams }) {
    const changes = useFleet("clocks", "offsets");
    const now = useNow(1000);
    const wanted = useMemo(() => readWanted(query), [query.toString()]);
    const { found, counts } = useMemo(() => chosen(wanted), [wanted, changes]);
    const [currentName, setCurrentName] = useState<string | null>(null);
    const at = found.findIndex((clock) => clock.clock === currentName);
    const current = Math.max(0, at);
    const isNarrow = useNarrow();
    const height = isNarrow ? 34 : 25;
    const open = (row: number) => {
        const clock = found[row];
        if (clock) {
            location.hash = clockHref(clock.clock);
        }
    };
    return (
        <>
            <h1 class="unseen">Clocks</h1>
            <Filters wanted={wanted} counts={counts} found={found.length} />
            <VirtualList
                role="grid"
                label="Clocks"
                rows={found.length}
                height={height}
                headHeight={height}
                current={current}
                currentKey={currentName}
                rowId={(row) => `clock-${found[row]?.index}`}
                setCurrent={(row) => setCurrentName(found[row]?.clock ?? null)}
                open={open}
                head={<HeadRow wanted={wanted} />}
                draw={(row) => <ClockRow key={found[row]!.index} clock={found[row]!} row={row} isCurrent={row === current} now={now} choose={setCurrentName} />}
            />
            {found.length === 0 && <p class="wait">{fleet.isComplete ? "No clock is like that." : "Waiting for the server."}</p>}
        </>
    );
}

export function useNarrow(): boolean {
    const media = useMemo(() => matchMedia("(max-width: 700px)"), []);
    const [isNarrow, setNarrow] = useState(media.matches);
    useEffect(() => {
        const follow = () => setNarrow(media.matches);
        media.addEventListener("change", follow);
        return () => media.removeEventListener("change", follow);
    }, [media]);
    return isNarrow;
}

/** A field that is reached by a stroke of `/`. */
function useSlashField() {
    const field = useRef<HTMLInputElement>(null);
    useEffect(() => {
        const focus = (event: KeyboardEvent) => {
            if (event.key === "/" && !(event.target instanceof HTMLInputElement)) {
                event.preventDefault();
                field.current?.focus();
            }
        };
        addEventListener("keydown", focus);
        return () => removeEventListener("keydown", focus);
    }, []);
    return field;
}

function Filters({ wanted, counts, found }: { wanted: Wanted; counts: Map<Standing, number>; found: number }) {
    const field = useSlashField();
    const toggle = (state: Standing) => {
        const states = new Set(wanted.states);
        if (!states.delete(state)) {
            states.add(state);
        }
        writeWanted({ ...wanted, states });
    };
    const shown = standings.filter((standing) => counts.has(standing) || wanted.states.has(standing));
    return (
        <div class="filters" role="search">
            <input
                ref={field}
                type="search"
                value={wanted.search}
                placeholder="Name, identity, grandmaster  ( / )"
                aria-label="Search clocks"
                onInput={(event) => writeWanted({ ...wanted, search: event.currentTarget.value })}
            />
            <div class="chips" role="group" aria-label="States">
                {shown.map((standing) => (
                    <button key={standing} type="button" aria-pressed={wanted.states.has(standing)} onClick={() => toggle(standing)}>
                        <StandingSign of={standing} /> {standingNames[standing]} <span class="number">{count(counts.get(standing) ?? 0)}</span>
                    </button>
                ))}
            </div>
            <output class="faint" aria-live="polite">
                {count(found)} of {count(fleet.clocks.length)}
            </output>
        </div>
    );
}

function HeadRow({ wanted }: { wanted: Wanted }) {
    const sort = (column: Column) =>
        writeWanted({ ...wanted, sort: column.name, isDescending: wanted.sort === column.name ? !wanted.isDescending : (column.isDescending ?? false) });
    return (
        <div role="rowgroup" class="head">
            <div role="row" aria-rowindex={1} class="row">
                {columns.map((column) => {
                    const isSorted = wanted.sort === column.name;
                    return (
                        <div key={column.name} role="columnheader" class={cellClass(column)} aria-sort={isSorted ? (wanted.isDescending ? "descending" : "ascending") : "none"}>
                            <button type="button" onClick={() => sort(column)} title={column.title}>
                                {column.label}
                                <span aria-hidden="true">{isSorted ? (wanted.isDescending ? " ▾" : " ▴") : ""}</span>
                            </button>
                        </div>
                    );
                })}
            </div>
        </div>
    );
}

function cellClass(column: Column): string {
    return `cell ${column.name}${column.right ? " right" : ""}${column.narrow ? "" : " spare"}`;
}

interface RowProps {
    clock: Clock;
    row: number;
    isCurrent: boolean;
    now: number;
    choose: (clock: string) => void;
}

function ClockRow({ clock, row, isCurrent, now, choose }: RowProps) {
    const standing = standingOf(clock);
    const cells = [
        <ClockLink clock={clock.clock} />,
        <StandingText of={standing} />,
        ago(clock.silent ? clock.heard : clock.since, now),
        nanoseconds(clock.offset),
        nanoseconds(clock.delay),
        <IdentityLink identity={clock.grandmaster} />,
        clock.parent === clock.identity ? <span class="faint">itself</span> : <IdentityLink identity={clock.parent} />,
        clock.steps ?? "–",
        `${clock.clock_class ?? "–"} / ${clock.grandmaster_class ?? "–"}`,
        ago(clock.changed, now),
        clock.severity === null ? (
            ""
        ) : (
            <span class={`severity ${clock.severity}`} title={severityNames[clock.severity]}>
                {severityNames[clock.severity]} {clock.alarms > 1 ? clock.alarms : ""}
            </span>
        ),
    ];
    return (
        <div role="row" id={`clock-${clock.index}`} aria-rowindex={row + 2} aria-selected={isCurrent} class={`row ${standing}`} onClick={() => choose(clock.clock)}>
            {columns.map((column, i) => (
                <div key={column.name} role={i === 0 ? "rowheader" : "gridcell"} class={cellClass(column)}>
                    {cells[i]}
                </div>
            ))}
        </div>
    );
}
