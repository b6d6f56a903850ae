// Addresses within the page, and links to clocks.
import { fleet } from "./fleet";
import { shortIdentity } from "./format";
import { Change } from "./model";

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

/** A value of a change: identities by name. */
export function ValueText({ value }: { value: string }) {
    return isIdentity.test(value) ? <IdentityLink identity={value} /> : <span class="value">{value === "" ? "–" : value}</span>;
}

/** What changed: a value, or an event with what it told. */
export function ChangeText({ of }: { of: Change }) {
    if (of.before === "") {
        return <EventText of={of} />;
    }
    return (
        <>
            {of.what} <ValueText value={of.before} /> <span aria-label="became">→</span> <ValueText value={of.after} />
        </>
    );
}

function EventText({ of }: { of: Change }) {
    return (
        <>
            {of.what.replace(/^ptp_/, "").replace(/_/g, " ")} <span class="faint">{eventFields(of.after)}</span>
        </>
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
                } else {
                    found.push(`${name} ${String(below)}`);
                }
            }
        };
        visit(record);
        return found.join(", ");
    } catch {
        return text;
    }
}
