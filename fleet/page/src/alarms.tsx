// Alarms that stand and those that ended, with what changed before them; who has a token takes care of them.
import { useState } from "preact/hooks";
import { post } from "./api";
import { fleet, useFleet, useNow } from "./fleet";
import { ago, count, dateTime, moment } from "./format";
import { ChangeTable, ClockLink, grouped, GroupText } from "./links";
import { Alarm, Change } from "./model";
import { useOperator } from "./operator";
import { SeverityText } from "./signs";

const most = 300; // drawn at once: whoever has more looks at the tree

export function AlarmsView() {
    useFleet("alarms", "clocks");
    const now = useNow(5000);
    const [shallHide, setShallHide] = useState(false);
    if (fleet.alarms === null) {
        return <p class="wait">Waiting for the server.</p>;
    }
    const isCared = (alarm: Alarm) => alarm.acknowledged !== null || (alarm.silenced !== null && alarm.silenced.until > now);
    const standing = fleet.alarms.filter((alarm) => alarm.ended === null);
    const shown = standing.filter((alarm) => !shallHide || !isCared(alarm));
    const ended = fleet.alarms.filter((alarm) => alarm.ended !== null);
    return (
        <>
            <div class="titled">
                <h1>
                    Alarms <span class="faint">{count(standing.length)}</span>
                </h1>
                <label>
                    <input type="checkbox" checked={shallHide} onChange={(event) => setShallHide(event.currentTarget.checked)} /> Hide those taken care of
                </label>
            </div>
            {shown.length === 0 && <p class="wait">None.</p>}
            <AlarmList alarms={shown.slice(0, most)} now={now} label="Alarms that stand" />
            {shown.length > most && (
                <p class="faint">
                    {count(shown.length - most)} more; see <a href="#/clocks?sort=alarms">the clocks</a> and <a href="#/tree">the tree</a>.
                </p>
            )}
            {ended.length > 0 && (
                <>
                    <h2>Ended</h2>
                    <AlarmList alarms={ended} now={now} label="Alarms that ended" />
                </>
            )}
        </>
    );
}

function AlarmList({ alarms, now, label }: { alarms: Alarm[]; now: number; label: string }) {
    if (alarms.length === 0) {
        return null;
    }
    return (
        <ul class="alarm-list" aria-label={label}>
            {alarms.map((alarm) => (
                <AlarmItem key={alarm.id} of={alarm} now={now} />
            ))}
        </ul>
    );
}

function AlarmItem({ of, now }: { of: Alarm; now: number }) {
    const isSilenced = of.silenced !== null && of.silenced.until > now;
    return (
        <li class={of.acknowledged !== null || isSilenced || of.ended !== null ? "cared" : ""}>
            <SeverityText of={of.severity} />
            <ClockLink clock={of.clock} />
            <div class="text">
                {of.text} <span class="faint">{of.rule}</span>
                {of.before.length > 0 && <Before changes={of.before} now={now} of={of} />}
            </div>
            <span class="number" title={`${dateTime(of.since)} UTC`}>
                {of.ended === null ? `for ${ago(of.since, now)}` : `${moment(of.since, now)} to ${moment(of.ended, now)}`}
            </span>
            <Care of={of} isSilenced={isSilenced} />
        </li>
    );
}

function Before({ changes, now, of }: { changes: Change[]; now: number; of: Alarm }) {
    const first = grouped(changes)[0]!;
    return (
        <details>
            <summary>
                before: {first[0]!.clock !== of.clock && `${first[0]!.clock} `}
                <GroupText of={first} isPlain />
            </summary>
            <ChangeTable changes={changes} now={now} withClock={true} />
        </details>
    );
}

/** Who takes care of it, and for who may: taking care of it. */
function Care({ of, isSilenced }: { of: Alarm; isSilenced: boolean }) {
    const { operator } = useOperator();
    const [trouble, setTrouble] = useState("");
    const act = async (what: string, body: object) => {
        try {
            await post(`alarms/${of.id}/${what}`, body);
            setTrouble("");
            await fleet.fetchAlarms();
        } catch (error) {
            setTrouble((error as Error).message);
        }
    };
    return (
        <span class="care">
            {of.acknowledged !== null && (
                <span>
                    ✓ {of.acknowledged.by} {of.acknowledged.comment}
                </span>
            )}
            {isSilenced && (
                <span>
                    silent until {dateTime(of.silenced!.until).slice(5, 16)}, {of.silenced!.by}
                </span>
            )}
            {operator !== null && of.ended === null && <CareButtons of={of} isSilenced={isSilenced} act={act} />}
            {trouble !== "" && <span role="alert">{trouble}</span>}
        </span>
    );
}

interface ButtonsProps {
    of: Alarm;
    isSilenced: boolean;
    act: (what: string, body: object) => void;
}

function CareButtons({ of, isSilenced, act }: ButtonsProps) {
    const about = ` the alarm of ${of.clock}`;
    return (
        <>
            {of.acknowledged === null && (
                <button type="button" aria-label={`Acknowledge${about}`} onClick={() => act("acknowledge", {})}>
                    Acknowledge
                </button>
            )}
            <button type="button" aria-label={`${isSilenced ? "End silence of" : "Silence 1 h"}${about}`} onClick={() => act("silence", { minutes: isSilenced ? 0 : 60 })}>
                {isSilenced ? "End silence" : "Silence 1 h"}
            </button>
        </>
    );
}
