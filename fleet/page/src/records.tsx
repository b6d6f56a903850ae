// Messages as lists of fields, with those marked that changed last.
import { ago } from "./format";
import { Message } from "./model";

interface Field {
    path: string;
    value: unknown;
    isKnown: boolean;
}

/** A field that was never set has no state; one without any states is a record of a kind that has none. */
function fieldsOf(record: Record<string, unknown>, path: string, to: Field[]): Field[] {
    for (const [name, value] of Object.entries(record)) {
        if (name === "$state") {
            continue;
        }
        const below = path === "" ? name : `${path}/${name}`;
        if (value !== null && typeof value === "object" && !Array.isArray(value)) {
            fieldsOf(value as Record<string, unknown>, below, to);
        } else {
            to.push({ path: below, value, isKnown: true });
        }
    }
    return to;
}

export function valueText(value: unknown): string {
    if (value === null || value === undefined) {
        return "–";
    }
    if (Array.isArray(value)) {
        return value.map(valueText).join(" ");
    }
    return typeof value === "object" ? JSON.stringify(value) : String(value).replace(/^VELA_/, "");
}

/** Scaled nanoseconds are 65536ths in two's complement, which nobody reads. */
function helpful(path: string, value: unknown): string {
    if (!/scaledNanoseconds$/i.test(path)) {
        return "";
    }
    return ` = ${(Number(BigInt.asIntN(64, BigInt(String(value)))) / 65536).toFixed(2)} ns`;
}

export function messageTitle(message: string): string {
    return message
        .replace(/^ptp_/, "")
        .replace(/_msg$/, "")
        .replace(/^clk_/, "")
        .replace(/_/g, " ");
}

export function Records({ messages, now, empty }: { messages: Message[]; now: number; empty: string }) {
    if (messages.length === 0) {
        return <p class="faint">{empty}</p>;
    }
    return (
        <div class="records">
            {messages.map((message) => (
                <Record key={message.message + message.about} of={message} now={now} />
            ))}
        </div>
    );
}

function Record({ of, now }: { of: Message; now: number }) {
    const changed = new Set(of.changed);
    const inFirst = (path: string) => path.split("/").slice(-2).join("/");
    const isChanged = (path: string) => changed.has(path) || [...changed].some((each) => path.startsWith(`${each}/`));
    return (
        <table class="record">
            <caption>
                <span title={of.message}>
                    {messageTitle(of.message)} {of.about}
                </span>{" "}
                <span class="faint">{ago(of.time, now)} ago</span>
            </caption>
            <tbody>
                {fieldsOf(of.fields, "", []).map(({ path, value }) => (
                    <tr key={path} class={isChanged(path) ? "changed" : ""}>
                        <th scope="row" title={path}>
                            {inFirst(path)}
                        </th>
                        <td class="number wide">
                            {valueText(value)}
                            <span class="faint">{helpful(path, value)}</span>
                        </td>
                        <td class="when">{isChanged(path) && <span title="Changed last">◂ changed {ago(of.changed_at, now)} ago</span>}</td>
                    </tr>
                ))}
            </tbody>
        </table>
    );
}
