// Messages as lists of fields, with those marked that changed last.
import { ago } from "./format";
import { Message } from "./model";

interface Field {
    path: string;
    value: unknown;
}

function fieldsOf(record: Record<string, unknown>, path: string, to: Field[]): Field[] {
    for (const [name, value] of Object.entries(record)) {
        if (name === "$state") {
            continue;
        }
        const below = path === "" ? name : `${path}/${name}`;
        if (value !== null && typeof value === "object" && !Array.isArray(value)) {
            fieldsOf(value as Record<string, unknown>, below, to);
        } else {
            to.push({ path: below, value });
        }
    }
    return to;
}

/** What all paths begin with, which says no more than the message's name. */
function commonOf(fields: Field[]): string {
    const first = fields[0]?.path.split("/")[0] ?? "";
    return fields.every(({ path }) => path.startsWith(`${first}/`)) ? `${first}/` : "";
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

const scaled = /\/scaledNanoseconds$/i;

/** Long names break where they are put together. */
function nameText(path: string): string {
    return path.replace(scaled, "").replace(/[/_]/g, "$&\u200b");
}

/** Scaled nanoseconds are 65536ths in two's complement, which nobody reads. */
function FieldValue({ path, value }: { path: string; value: unknown }) {
    if (!scaled.test(path) || !/^\d+$/.test(String(value))) {
        return <>{valueText(value).replace(/_/g, "_\u200b")}</>;
    }
    const exact = Number(BigInt.asIntN(64, BigInt(String(value)))) / 65536;
    return <span title={`scaledNanoseconds ${value}`}>{exact.toFixed(2).replace("-", "−")} ns</span>;
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
    const fields = fieldsOf(of.fields, "", []);
    const common = commonOf(fields);
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
                {fields.map(({ path, value }) => (
                    <tr key={path} class={isChanged(path) ? "changed" : ""}>
                        <th scope="row" title={path}>
                            {nameText(path.slice(common.length))}
                        </th>
                        <td class="number" colSpan={isChanged(path) ? 1 : 2}>
                            <FieldValue path={path} value={value} />
                        </td>
                        {isChanged(path) && <td class="when">◂ changed {ago(of.changed_at, now)}</td>}
                    </tr>
                ))}
            </tbody>
        </table>
    );
}
