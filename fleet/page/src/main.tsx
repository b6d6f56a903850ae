// The page: its head, and the view that the address names.
import { render } from "preact";
import { useEffect, useState } from "preact/hooks";
import { AlarmsView } from "./alarms";
import { ClockView } from "./clock";
import { fleet, useFleet, useNow } from "./fleet";
import { clockTime, count, duration } from "./format";
import { OperatorButton } from "./operator";
import { OverviewView } from "./overview";
import { TableView } from "./table";
import { ThemeButton, applyTheme } from "./theme";
import { TreeView } from "./tree";

const views = [
    ["overview", "Overview"],
    ["clocks", "Clocks"],
    ["tree", "Tree"],
    ["alarms", "Alarms"],
] as const;

interface Place {
    view: string;
    rest: string[];
    query: URLSearchParams;
}

function placeNow(): Place {
    const [path = "", query = ""] = location.hash.replace(/^#\/?/, "").split("?");
    const [view, ...rest] = path.split("/").map(decodeURIComponent);
    return { view: view || "overview", rest, query: new URLSearchParams(query) };
}

function Head({ view }: { view: string }) {
    useFleet("overview", "link");
    const now = useNow();
    const alarms = fleet.overview?.alarms;
    const standing = alarms ? alarms.critical + alarms.major + alarms.warning : 0;
    return (
        <header>
            <a class="skip" href="#content" onClick={focusContent}>
                To the content
            </a>
            <nav aria-label="Views">
                {views.map(([name, label]) => (
                    <a key={name} href={`#/${name}`} aria-current={name === view || (name === "clocks" && view === "clock") ? "page" : undefined}>
                        {label}
                        {name === "alarms" && standing > 0 && <span class="badge">{count(standing)}</span>}
                    </a>
                ))}
            </nav>
            <div class="tools">
                <time class="number" title="The server's time, UTC">
                    {clockTime(now)} <span class="faint">UTC</span>
                </time>
                <OperatorButton />
                <ThemeButton />
            </div>
        </header>
    );
}

function focusContent(event: Event) {
    event.preventDefault();
    document.getElementById("content")?.focus();
}

/** What is shown is old while the server is away: that must not be overlooked. */
function LinkBanner() {
    useFleet("link");
    useNow();
    if (fleet.lostAt === null) {
        return null;
    }
    return (
        <div class="banner" role="alert">
            <strong>No connection</strong> for {duration(Date.now() - fleet.lostAt)}. What is shown is as of then. {fleet.trouble}
        </div>
    );
}

function View({ place }: { place: Place }) {
    switch (place.view) {
        case "clocks":
            return <TableView query={place.query} />;
        case "tree":
            return <TreeView />;
        case "alarms":
            return <AlarmsView />;
        case "clock":
            return <ClockView key={place.rest.join("/")} clock={place.rest.join("/")} query={place.query} />;
        default:
            return <OverviewView />;
    }
}

function titleOf(place: Place): string {
    return place.view === "clock" ? place.rest.join("/") : (views.find(([name]) => name === place.view)?.[1] ?? "Overview");
}

function Page() {
    const [place, setPlace] = useState(placeNow);
    useEffect(() => {
        const follow = () => setPlace(placeNow());
        addEventListener("hashchange", follow);
        return () => removeEventListener("hashchange", follow);
    }, []);
    useEffect(() => {
        document.title = `${titleOf(place)} – Clocks`;
    }, [place]);
    return (
        <>
            <Head view={place.view} />
            <LinkBanner />
            <main id="content" tabIndex={-1} class={place.view}>
                <View place={place} />
            </main>
        </>
    );
}

applyTheme();
void fleet.start();
render(<Page />, document.getElementById("page")!);
