// What an element was told, and telling it something.
import { useState } from "preact/hooks";
import { post } from "./api";
import { useAnswer, useFleet } from "./fleet";
import { moment } from "./format";
import { grouped, GroupText } from "./links";
import { Command, Row } from "./model";
import { useOperator } from "./operator";

const fates: Record<Command["fate"], string> = {
    sent: "sent",
    answered: "answered",
    silent: "no answer",
    conflict: "not sent: somebody was faster",
    refused: "not sent",
};

/** A beginning for those that are given most, with what the clock has now. */
function samplesFor(row: Row | null): [string, object][] {
    const quality = { clock_class: row?.clock_class ?? 248, offset_scaled_log_var: -1, clock_accuracy: "VELA_PTP_CLOCK_ACCURACY_UNKNOWN" };
    const priorities = { priority1: row?.priority1 ?? 128, priority2: row?.priority2 ?? 128 };
    const leapSecond = { leap_second_offset: 0, leap_second_day: 0, leap_second_month: 0, leap_second_year: 0 };
    return [
        ["Priorities", { ptp_clock_modify_cmd: { ptp_clock_params: { clock_id: 0, ...priorities, clock_quality: quality, local_priority: 128 } } }],
        ["UTC offset", { ptp_utc_offset_cmd: { ptp_utc_offset: { utc_offset: 37, ...leapSecond, v_port_index: 0, utc_offset_valid: true } } }],
    ];
}

export function Commands({ element, row, now }: { element: string; row: Row | null; now: number }) {
    const changes = useFleet("clocks");
    const [sent, setSent] = useState(0);
    const path = `elements/${encodeURIComponent(element)}/commands?limit=50`;
    const { answer } = useAnswer<{ version: number; commands: Command[] }>(path, `${changes} ${sent}`);
    const { operator } = useOperator();
    return (
        <section aria-labelledby="commands-title">
            <h2 id="commands-title">Commands to {element}</h2>
            {operator !== null && answer !== null && <CommandForm path={path} row={row} version={answer.version} done={() => setSent(sent + 1)} />}
            {answer !== null && answer.commands.length === 0 && <p class="faint">None was sent.</p>}
            {answer !== null && answer.commands.length > 0 && <CommandList of={answer.commands} now={now} />}
        </section>
    );
}

function CommandList({ of, now }: { of: Command[]; now: number }) {
    return (
        <table>
            <thead>
                <tr>
                    <th scope="col">Time</th>
                    <th scope="col">By</th>
                    <th scope="col">Command</th>
                    <th scope="col">Outcome</th>
                </tr>
            </thead>
            <tbody>
                {of.map((command) => (
                    <tr key={command.id}>
                        <td class="number faint">{moment(command.time, now)}</td>
                        <td>{command.by}</td>
                        <th scope="row" class="wide">
                            <details>
                                <summary>{command.message}</summary>
                                <pre>{JSON.stringify(command.command, null, 2)}</pre>
                            </details>
                        </th>
                        <td class="wide">
                            {fates[command.fate]} {command.reason}
                            {grouped(command.answer).map((group, i) => (
                                <div key={i}>
                                    <GroupText of={group} />
                                </div>
                            ))}
                        </td>
                    </tr>
                ))}
            </tbody>
        </table>
    );
}

/** Sends text as a command, based on the version that was there when the text was begun: who writes on what is old must learn it. */
function useCommand(path: string, version: number, done: () => void) {
    const [text, setText] = useState("");
    const [based, setBased] = useState(version);
    const [outcome, setOutcome] = useState("");
    const edit = (next: string) => {
        setBased(text === "" ? version : based);
        setText(next);
    };
    const send = async () => {
        try {
            await post(path, { command: JSON.parse(text), version: based });
            setOutcome("Sent.");
            setText("");
        } catch (error) {
            setOutcome(error instanceof SyntaxError ? `That is no JSON: ${error.message}` : (error as Error).message);
            setBased(version);
        }
        done();
    };
    return { text, edit, send, outcome };
}

function CommandForm({ path, row, version, done }: { path: string; row: Row | null; version: number; done: () => void }) {
    const { text, edit, send, outcome } = useCommand(path.replace(/\?.*/, ""), version, done);
    const submit = (event: Event) => {
        event.preventDefault();
        void send();
    };
    return (
        <form class="command" onSubmit={submit}>
            <label for="command-text">A message as JSON</label>
            <textarea id="command-text" rows={text === "" ? 2 : 12} spellcheck={false} value={text} required onInput={(event) => edit(event.currentTarget.value)} />
            <p class="buttons">
                {samplesFor(row).map(([label, command]) => (
                    <button key={label} type="button" onClick={() => edit(JSON.stringify(command, null, 2))}>
                        {label}
                    </button>
                ))}
                <button type="submit">Send</button>
                <output>{outcome}</output>
            </p>
        </form>
    );
}
