// Addresses within the page, and links to clocks.
import { fleet } from "./fleet";
import { moment, shortIdentity } from "./format";
import { Change, State, states } from "./model";
import { StandingText } from "./signs";

export function clockHref(clock: string): string {
    return `#/clock/${clock.split("/").map(encodeURIComponent).join("/")}`;
}

export function ClockLink({ clock }: { clock: string }) {
    return <a href={clockHref(clock)}>{clock}</a>;
}

/** By name where it is one of the fleet's, else by its octets. */
export function IdentityLink({ identity }: { identity: string | null }) {
    if (identity === null) {
        return <span class="faint">–</span>;
    }
    const name = fleet.nameOf(identity);
    return name !== null ? (
        <a href={clockHref(name)} title={identity}>
            {name}
        </a>
    ) : (
        <span class="number" title={identity}>
            {shortIdentity(identity)}
        </span>
    );
}

const isIdentity = /^([0-9A-F]{2}-){7}[0-9A-F]{2}$/;

/** A value of a change: identities by name, states with their sign. */
function ValueText({ value, own, isPlain }: { value: string; own: string | null; isPlain: boolean }) {
    if (isIdentity.test(value)) {
        return value === own ? <>itself</> : isPlain ? <>{fleet.nameOf(value) ?? shortIdentity(value)}</> : <IdentityLink identity={value} />;
    }
    return states.includes(value as State) ? <StandingText of={value as State} /> : <>{value === "" ? "–" : value}</>;
}

/** What changed: a value, or an event with what it told. */
function ChangeText({ of, isPlain }: { of: Change; isPlain: boolean }) {
    if (of.before === "") {
        return (
            <>
                {of.what.replace(/^ptp_/, "").replace(/_/g, " ")} <span class="faint">{eventFields(of.after)}</span>
            </>
        );
    }
    const own = fleet.byName.get(of.clock)?.identity ?? null;
    return (
        <>
            {of.what === "lock" ? "" : `${of.what} `}
            <ValueText value={of.before} own={own} isPlain={isPlain} /> <span aria-label="became">→</span> <ValueText value={of.after} own={own} isPlain={isPlain} />
        </>
    );
}

const importance = ["lock", "parent", "grandmaster"];

function rank(of: Change): number {
    const at = importance.indexOf(of.what);
    return of.before === "" ? importance.length + 1 : at < 0 ? importance.length : at;
}

/** What changed at a clock at once belongs together, and the weightiest comes first. */
export function grouped(changes: Change[]): Change[][] {
    const groups: Change[][] = [];
    for (const change of changes) {
        const last = groups[groups.length - 1];
        if (last !== undefined && last[0]!.clock === change.clock && Math.abs(last[0]!.time - change.time) < 500) {
            last.push(change);
        } else {
            groups.push([change]);
        }
    }
    groups.forEach((group) => group.sort((a, b) => rank(a) - rank(b)));
    return groups;
}

/** An event says little beside the changes that it came with. @param isPlain  without links */
export function GroupText({ of, isPlain = false }: { of: Change[]; isPlain?: boolean }) {
    const changes = of.filter((change) => change.before !== "");
    return (
        <>
            {(changes.length > 0 ? changes : of).map((change, i) => (
                <span key={i}>
                    {i > 0 && <span class="faint"> · </span>}
                    <ChangeText of={change} isPlain={isPlain} />
                </span>
            ))}
        </>
    );
}

/** Changes as rows; those of one clock leave its name out. */
export function ChangeTable({ changes, now, withClock }: { changes: Change[]; now: number; withClock: boolean }) {
    return (
        <table class="changes">
            <thead class="unseen">
                <tr>
                    <th scope="col">Time</th>
                    {withClock && <th scope="col">Clock</th>}
                    <th scope="col">What</th>
                </tr>
            </thead>
            <tbody>
                {grouped(changes).map((group, i) => (
                    <tr key={i}>
                        <td class="number faint">{moment(group[0]!.time, now)}</td>
                        {withClock && (
                            <th scope="row">
                                <ClockLink clock={group[0]!.clock} />
                            </th>
                        )}
                        <td class="wide">
                            <GroupText of={group} />
                        </td>
                    </tr>
                ))}
            </tbody>
        </table>
    );
}

/** "negative true, delta_time_nano_sec 1500" of the message's record. */
function eventFields(text: string): string {
    try {
        const record = Object.values(JSON.parse(text) as object)[0] as object;
        const found: string[] = [];
        const visit = (value: object) => {
            for (const [name, below] of Object.entries(value)) {
                if (name === "$state") {
                    continue;
                }
                if (below !== null && typeof below === "object" && !Array.isArray(below)) {
                    visit(below);
                } else if (below !== "" && below !== null) {
                    found.push(`${name.replace(/_/g, " ")} ${String(below).replace(/^VELA_/, "")}`);
                }
            }
        };
        visit(record);
        return found.join(", ");
    } catch {
        return text;
    }
}
