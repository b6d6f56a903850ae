// One clock: how it stands, its offset over time, what it says and was told, what happened, and what differs.
import { clockPath } from "./api";
import { Commands } from "./commands";
import { DifferenceBetween } from "./difference";
import { fleet, useAnswer, useFleet, useNow } from "./fleet";
import { ago, nanoseconds } from "./format";
import { ChangeTable, IdentityLink } from "./links";
import { Change, OneClock, Row, standingOf } from "./model";
import { Plots, useSpan } from "./plot";
import { Records } from "./records";
import { SeverityText, StandingText } from "./signs";

export function ClockView({ clock }: { clock: string; query: URLSearchParams }) {
    useFleet("clocks", "offsets", "alarms");
    const now = useNow(1000);
    // Data sets change with each report: they are asked for again while they are looked at.
    const { answer, trouble } = useAnswer<OneClock>(clockPath(clock), Math.floor(now / 3000));
    const [span, setSpan] = useSpan();
    const row = fleet.byName.get(clock) ?? answer?.row ?? null;
    if (row === null) {
        return <p class="wait">{trouble ?? "Waiting for the server."}</p>;
    }
    return (
        <>
            <Summary row={row} now={now} />
            <ClockAlarms clock={clock} now={now} />
            <div class="columns clock-columns">
                <div>
                    <Plots clock={clock} span={span} setSpan={setSpan} />
                    <Events clock={clock} now={now} />
                    <DifferenceBetween clock={clock} span={span} />
                    <Commands element={clock.split("/")[0]!} row={row} now={now} />
                </div>
                <div>
                    <section aria-labelledby="sets-title">
                        <h2 id="sets-title">Data sets</h2>
                        <Records messages={answer?.data_sets ?? []} now={now} empty={trouble ?? "It has reported none yet."} />
                    </section>
                    <section aria-labelledby="configuration-title">
                        <h2 id="configuration-title">Configuration</h2>
                        <Records messages={answer?.configuration ?? []} now={now} empty="It was told nothing since the server watches." />
                    </section>
                </div>
            </div>
        </>
    );
}

function Summary({ row, now }: { row: Row; now: number }) {
    const facts: [string, preact.ComponentChildren][] = [
        ["For", ago(row.silent ? row.heard : row.since, now)],
        ["Offset", nanoseconds(row.offset)],
        ["Path delay", nanoseconds(row.delay)],
        ["Parent", row.parent !== null && row.parent === row.identity ? "itself" : <IdentityLink identity={row.parent} />],
        ["Grandmaster", row.grandmaster !== null && row.grandmaster === row.identity ? "itself" : <IdentityLink identity={row.grandmaster} />],
        ["Steps removed", row.steps ?? "–"],
        ["Class, own / grandmaster's", `${row.clock_class ?? "–"} / ${row.grandmaster_class ?? "–"}`],
        ["Priorities", `${row.priority1 ?? "–"} / ${row.priority2 ?? "–"}`],
        ["Domain", row.domain ?? "–"],
        ["Identity", row.identity ?? "–"],
        ["Heard", row.heard === null ? "never" : `${ago(row.heard, now)} ago`],
    ];
    return (
        <div class="summary">
            <h1>
                {row.clock} <StandingText of={standingOf(row)} />
            </h1>
            <dl>
                {facts.map(([name, value]) => (
                    <div key={name}>
                        <dt>{name}</dt>
                        <dd class="number">{value}</dd>
                    </div>
                ))}
            </dl>
        </div>
    );
}

function ClockAlarms({ clock, now }: { clock: string; now: number }) {
    const alarms = (fleet.alarms ?? []).filter((alarm) => alarm.clock === clock && alarm.ended === null);
    if (alarms.length === 0) {
        return null;
    }
    return (
        <ul class="clock-alarms" aria-label="Alarms">
            {alarms.map((alarm) => (
                <li key={alarm.id}>
                    <SeverityText of={alarm.severity} /> {alarm.text} <span class="faint">for {ago(alarm.since, now)}</span> <a href="#/alarms">Alarms</a>
                </li>
            ))}
        </ul>
    );
}

function Events({ clock, now }: { clock: string; now: number }) {
    const row = fleet.byName.get(clock);
    const { answer, trouble } = useAnswer<{ changes: Change[] }>(`${clockPath(clock)}/events?limit=100`, row?.change ?? 0);
    return (
        <section aria-labelledby="events-title">
            <h2 id="events-title">Events and changes</h2>
            {trouble !== null && <p role="alert">{trouble}</p>}
            {answer !== null && answer.changes.length === 0 && <p class="faint">None.</p>}
            <div class="scrolled" tabIndex={0} role="group" aria-label="Events and changes, a list">
                <ChangeTable changes={answer?.changes ?? []} now={now} withClock={false} />
            </div>
        </section>
    );
}
