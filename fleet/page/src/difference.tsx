// What a clock said at two moments, where that differs.
import { useState } from "preact/hooks";
import { clockPath } from "./api";
import { fleet, useAnswer } from "./fleet";
import { dateTime } from "./format";
import { Difference } from "./model";
import { Span } from "./plot";
import { messageTitle, valueText } from "./records";

/** As the browser's field for date and time wants it, which here is UTC. */
const fieldText = (time: number) => dateTime(time).replace(" ", "T");
const fieldTime = (text: string) => Date.parse(`${text}Z`);

export function DifferenceBetween({ clock, span }: { clock: string; span: Span }) {
    const [from, setFrom] = useState(fieldText(fleet.now() - 3600e3));
    const [to, setTo] = useState(fieldText(fleet.now()));
    const [asked, setAsked] = useState<{ from: number; to: number } | null>(null);
    const path = asked && `${clockPath(clock)}/difference?from=${asked.from}&to=${asked.to}`;
    const { answer, trouble } = useAnswer<Difference>(path);
    const ask = (event: Event) => {
        event.preventDefault();
        setAsked({ from: fieldTime(from), to: fieldTime(to) });
    };
    const fromPlot = () => {
        setFrom(fieldText(span.from));
        setTo(fieldText(span.to));
    };
    return (
        <section aria-labelledby="difference-title">
            <h2 id="difference-title">Difference between two moments</h2>
            <form class="moments" onSubmit={ask}>
                <label>
                    From <input type="datetime-local" step="1" value={from} required onInput={(event) => setFrom(event.currentTarget.value)} />
                </label>
                <label>
                    To <input type="datetime-local" step="1" value={to} required onInput={(event) => setTo(event.currentTarget.value)} />
                </label>
                <span class="faint">UTC</span>
                <button type="button" onClick={fromPlot}>
                    As plotted
                </button>
                <button type="submit">Compare</button>
            </form>
            {trouble !== null && <p role="alert">{trouble}</p>}
            {answer !== null && <Fields of={answer} />}
        </section>
    );
}

function Fields({ of }: { of: Difference }) {
    if (of.fields.length === 0) {
        return <p>Nothing differs.</p>;
    }
    return (
        <table class="difference">
            <thead>
                <tr>
                    <th scope="col">Field</th>
                    <th scope="col">{dateTime(of.from).slice(5)}</th>
                    <th scope="col">{dateTime(of.to).slice(5)}</th>
                </tr>
            </thead>
            <tbody>
                {of.fields.map((field) => (
                    <tr key={field.message + field.about + field.path}>
                        <th scope="row">
                            <span class="faint">
                                {messageTitle(field.message)} {field.about}
                            </span>{" "}
                            {field.path}
                        </th>
                        <td class="number">
                            <del>{valueText(field.before)}</del>
                        </td>
                        <td class="number">
                            <ins>{valueText(field.after)}</ins>
                        </td>
                    </tr>
                ))}
            </tbody>
        </table>
    );
}
