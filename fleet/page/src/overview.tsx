// How many clocks are in which state, what changed, and what alarms there are.
import { Clock, fleet, useFleet, useNow } from "./fleet";
import { ago, count } from "./format";
import { ChangeTable, ClockLink, IdentityLink } from "./links";
import { Alarm, Overview, Standing, standingNames, standings } from "./model";
import { SeverityText, StandingSign } from "./signs";

const order: Standing[] = ["locked", ...standings.filter((standing) => standing !== "locked")];
const alwaysShown: Standing[] = ["locked", "holdover", "freerun", "silent"];

export function OverviewView() {
    useFleet("overview", "clocks", "alarms");
    const now = useNow(5000);
    const overview = fleet.overview;
    if (overview === null) {
        return <p class="wait">Waiting for the server.</p>;
    }
    return (
        <>
            <h1 class="unseen">Overview</h1>
            <Counts of={overview} />
            <div class="columns">
                <Changes of={overview} now={now} />
                <div>
                    <StandingAlarms now={now} />
                    <NotLocked now={now} />
                    <Grandmasters of={overview} />
                </div>
            </div>
        </>
    );
}

function Counts({ of }: { of: Overview }) {
    return (
        <ul class="counts" aria-label="Clocks by state">
            <li>
                <a href="#/clocks">
                    <span class="big number">{count(of.clocks)}</span> clocks
                </a>
            </li>
            {order
                .filter((standing) => of.counts[standing] > 0 || alwaysShown.includes(standing))
                .map((standing) => (
                    <li key={standing} class={of.counts[standing] > 0 ? standing : "none"}>
                        <a href={`#/clocks?state=${standing}`}>
                            <span class="big number">{count(of.counts[standing])}</span>
                            <StandingSign of={standing} /> {standingNames[standing]}
                        </a>
                    </li>
                ))}
            <li>
                <a href="#/clocks?sort=changed">
                    <span class="big number">{count(of.changed_last_hour)}</span> changed in the last hour
                </a>
            </li>
        </ul>
    );
}

function Changes({ of, now }: { of: Overview; now: number }) {
    return (
        <section aria-labelledby="changes-title">
            <h2 id="changes-title">Latest changes</h2>
            {of.changes.length === 0 && <p class="faint">Nothing has changed since the server was started.</p>}
            <ChangeTable changes={of.changes} now={now} withClock={true} />
        </section>
    );
}

function StandingAlarms({ now }: { now: number }) {
    const alarms = (fleet.alarms ?? []).filter((alarm) => alarm.ended === null);
    return (
        <section aria-labelledby="standing-title">
            <h2 id="standing-title">
                <a href="#/alarms">Alarms</a> <span class="faint">{count(alarms.length)}</span>
            </h2>
            {alarms.length === 0 && <p class="faint">None.</p>}
            <table>
                <tbody>
                    {alarms.slice(0, 8).map((alarm: Alarm) => (
                        <tr key={alarm.id}>
                            <td>
                                <SeverityText of={alarm.severity} />
                            </td>
                            <th scope="row">
                                <ClockLink clock={alarm.clock} />
                            </th>
                            <td class="wide">{alarm.text}</td>
                            <td class="number faint">{ago(alarm.since, now)}</td>
                        </tr>
                    ))}
                </tbody>
            </table>
            {alarms.length > 8 && (
                <p>
                    <a href="#/alarms">All {count(alarms.length)}</a>
                </p>
            )}
        </section>
    );
}

/** Those that went astray last, whether or not an alarm tells of them. */
function NotLocked({ now }: { now: number }) {
    const broken = fleet.clocks.filter((clock) => clock.silent || clock.state !== "locked");
    const latest = [...broken].sort((a, b) => since(b) - since(a)).slice(0, 8);
    return (
        <section aria-labelledby="broken-title">
            <h2 id="broken-title">
                <a href="#/clocks?state=silent,freerun,holdover,acquiring,frequency-locked,initializing,unknown">Not locked</a>{" "}
                <span class="faint">{count(broken.length)}, the latest first</span>
            </h2>
            {broken.length === 0 && <p class="faint">None.</p>}
            <table>
                <tbody>
                    {latest.map((clock) => (
                        <tr key={clock.clock}>
                            <th scope="row">
                                <ClockLink clock={clock.clock} />
                            </th>
                            <td class="wide">
                                <StandingSign of={clock.silent ? "silent" : clock.state} /> {standingNames[clock.silent ? "silent" : clock.state]}
                            </td>
                            <td class="number faint">{since(clock) === 0 ? "–" : ago(since(clock), now)}</td>
                        </tr>
                    ))}
                </tbody>
            </table>
        </section>
    );
}

function since(clock: Clock): number {
    return (clock.silent ? clock.heard : clock.since) ?? 0;
}

function Grandmasters({ of }: { of: Overview }) {
    return (
        <section aria-labelledby="grandmasters-title">
            <h2 id="grandmasters-title">
                <a href="#/tree">Grandmasters</a> <span class="faint">{of.grandmasters.length}</span>
            </h2>
            <table>
                <thead>
                    <tr>
                        <th scope="col">Clock</th>
                        <th scope="col" class="right">
                            Class
                        </th>
                        <th scope="col" class="right">
                            Followers
                        </th>
                    </tr>
                </thead>
                <tbody>
                    {of.grandmasters.slice(0, 12).map((grandmaster) => (
                        <tr key={grandmaster.identity}>
                            <th scope="row" class="wide">
                                <IdentityLink identity={grandmaster.identity} />
                            </th>
                            <td class="number">{grandmaster.clock_class ?? "–"}</td>
                            <td class="number">
                                <a href={`#/clocks?q=${encodeURIComponent(grandmaster.clock ?? grandmaster.identity ?? "")}`}>{count(grandmaster.followers)}</a>
                            </td>
                        </tr>
                    ))}
                </tbody>
            </table>
        </section>
    );
}
