// Offset and path delay over time, in as many points as fit; a span is chosen by dragging or by buttons.
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import uPlot from "uplot";
import { clockPath } from "./api";
import { fleet, useAnswer, useNow } from "./fleet";
import { dateTime, duration, nanoseconds } from "./format";
import { Series } from "./model";

const minute = 60e3;
const hour = 60 * minute;
const spans: [number, string][] = [
    [10 * minute, "10 min"],
    [hour, "1 h"],
    [6 * hour, "6 h"],
    [24 * hour, "24 h"],
    [7 * 24 * hour, "7 d"],
];
const shortest = 10e3;

export interface Span {
    from: number;
    to: number;
    isLive: boolean; // moves on with the time
}

export function useSpan(): [Span, (span: Span) => void] {
    const [chosen, setChosen] = useState<Span>({ from: fleet.now() - hour, to: fleet.now(), isLive: true });
    const now = useNow(5000);
    const span = useMemo(() => (chosen.isLive ? { from: now - (chosen.to - chosen.from), to: now, isLive: true } : chosen), [chosen, Math.floor(now / 5000)]);
    return [span, setChosen];
}

export function Plots({ clock, span, setSpan }: { clock: string; span: Span; setSpan: (span: Span) => void }) {
    const points = 800;
    const path = `${clockPath(clock)}/series?from=${Math.round(span.from)}&to=${Math.round(span.to)}&points=${points}`;
    const { answer, trouble } = useAnswer<Series>(path);
    const kept = useRef<Series | null>(null);
    kept.current = answer ?? kept.current;
    const zoom = (from: number, to: number) => to - from >= shortest && setSpan({ from, to, isLive: false });
    return (
        <section aria-labelledby="plots-title">
            <div class="titled">
                <h2 id="plots-title">Offset and path delay</h2>
                <SpanButtons span={span} setSpan={setSpan} />
            </div>
            {trouble !== null && <p role="alert">{trouble}</p>}
            <Plot title="Offset from master" series={kept.current} span={span} zoom={zoom} kind="offset" />
            <Plot title="Mean path delay" series={kept.current} span={span} zoom={zoom} kind="delay" />
        </section>
    );
}

function SpanButtons({ span, setSpan }: { span: Span; setSpan: (span: Span) => void }) {
    const length = span.to - span.from;
    const move = (factor: number) => setSpan({ from: span.from + length * factor, to: span.to + length * factor, isLive: false });
    const scale = (factor: number) => {
        const middle = (span.from + span.to) / 2;
        const half = Math.max(shortest, length * factor) / 2;
        setSpan({ from: middle - half, to: middle + half, isLive: false });
    };
    return (
        <div class="chips" role="group" aria-label="Span of time">
            {spans.map(([size, label]) => (
                <button key={label} type="button" aria-pressed={span.isLive && Math.abs(length - size) < 1000} onClick={() => setSpan({ from: fleet.now() - size, to: fleet.now(), isLive: true })}>
                    {label}
                </button>
            ))}
            <button type="button" aria-label="Earlier" onClick={() => move(-0.5)}>
                ←
            </button>
            <button type="button" aria-label="Later" onClick={() => move(0.5)}>
                →
            </button>
            <button type="button" aria-label="Zoom in" onClick={() => scale(0.5)}>
                +
            </button>
            <button type="button" aria-label="Zoom out" onClick={() => scale(2)}>
                −
            </button>
        </div>
    );
}

interface PlotProps {
    title: string;
    series: Series | null;
    span: Span;
    zoom: (from: number, to: number) => void;
    kind: "offset" | "delay";
}

/** Nothing is drawn across a while in which nothing was reported. */
function withGaps(series: Series): Series {
    const steps = series.time.slice(1).map((time, i) => time - series.time[i]!);
    const usual = [...steps].sort((a, b) => a - b)[Math.floor(steps.length / 2)] ?? 0;
    const gaps = new Set(steps.flatMap((step, i) => (step > usual * 3 + 2000 ? [i] : [])));
    const spread = <Value,>(values: Value[], filler: (i: number) => Value) => values.flatMap((value, i) => (gaps.has(i) ? [value, filler(i)] : [value]));
    const blank = (values: number[]) => spread<number | null>(values, () => null) as number[];
    return {
        ...series,
        time: spread(series.time, (i) => series.time[i]! + usual),
        offset_min: blank(series.offset_min),
        offset_mean: blank(series.offset_mean),
        offset_max: blank(series.offset_max),
        delay_mean: blank(series.delay_mean),
    };
}

function dataOf(series: Series, kind: "offset" | "delay"): uPlot.AlignedData {
    const spread = withGaps(series);
    const seconds = spread.time.map((time) => time / 1000);
    return kind === "offset" ? [seconds, spread.offset_min, spread.offset_mean, spread.offset_max] : [seconds, spread.delay_mean];
}

function Plot({ title, series, span, zoom, kind }: PlotProps) {
    const box = useRef<HTMLDivElement>(null);
    const plot = useRef<uPlot | null>(null);
    const zooming = useRef(zoom);
    zooming.current = zoom;
    useEffect(() => {
        const element = box.current!;
        const build = () => {
            plot.current?.destroy();
            plot.current = new uPlot(optionsFor(element, kind, (from, to) => zooming.current(from, to)), [[]], element);
        };
        build();
        const measure = new ResizeObserver(() => plot.current?.setSize({ width: element.clientWidth, height: heightOf(kind) }));
        measure.observe(element);
        const rebuild = () => {
            const { data, scales } = plot.current!;
            build();
            fill(plot.current!, data, scales["x"]!.min! * 1000, scales["x"]!.max! * 1000);
        };
        addEventListener("themechange", rebuild);
        return () => {
            measure.disconnect();
            removeEventListener("themechange", rebuild);
            plot.current?.destroy();
        };
    }, []);
    useEffect(() => {
        if (series !== null && plot.current !== null) {
            fill(plot.current, dataOf(series, kind), span.from, span.to);
        }
    }, [series, span.from, span.to]);
    return (
        <figure>
            <figcaption>
                {title} <span class="faint">{series === null ? "" : summary(series, kind, span)}</span>
            </figcaption>
            <div ref={box} class="plot" role="img" aria-label={`${title}. ${series === null ? "" : summary(series, kind, span)}`} />
        </figure>
    );
}

function fill(plot: uPlot, data: uPlot.AlignedData, from: number, to: number): void {
    plot.batch(() => {
        plot.setData(data, false);
        plot.setScale("x", { min: from / 1000, max: to / 1000 });
    });
}

function summary(series: Series, kind: "offset" | "delay", span: Span): string {
    const low = kind === "offset" ? series.offset_min : series.delay_mean;
    const high = kind === "offset" ? series.offset_max : series.delay_mean;
    const mean = kind === "offset" ? series.offset_mean : series.delay_mean;
    const reports = series.count.reduce((sum, count) => sum + count, 0);
    if (reports === 0) {
        return "Nothing was reported in this time.";
    }
    const average = mean.reduce((sum, value, i) => sum + value * series.count[i]!, 0) / reports;
    const least = low.reduce((a, b) => Math.min(a, b));
    const most = high.reduce((a, b) => Math.max(a, b));
    const when = span.isLive ? `the last ${duration(span.to - span.from)}` : `${dateTime(span.from)} to ${dateTime(span.to)} UTC`;
    return `mean ${nanoseconds(average)}, from ${nanoseconds(least)} to ${nanoseconds(most)} in ${when}`;
}

const heightOf = (kind: string) => (kind === "offset" ? 200 : 110);

function optionsFor(element: HTMLElement, kind: "offset" | "delay", zoom: (from: number, to: number) => void): uPlot.Options {
    const style = getComputedStyle(document.documentElement);
    const colour = (name: string) => style.getPropertyValue(name).trim();
    const axis: uPlot.Axis = { stroke: colour("--faint"), grid: { stroke: colour("--line"), width: 1 }, ticks: { show: false }, font: "11px system-ui, sans-serif" };
    const line: uPlot.Series = { stroke: colour("--plot"), width: 1.5, points: { size: 3 } };
    const edge: uPlot.Series = { stroke: colour("--plot-edge"), width: 1, points: { show: false } };
    return {
        width: element.clientWidth,
        height: heightOf(kind),
        legend: { show: false },
        cursor: { drag: { x: true, y: false, setScale: false }, points: { size: 5 } },
        tzDate: (seconds) => uPlot.tzDate(new Date(seconds * 1000), "Etc/UTC"),
        scales: { y: { range: (_, low, high) => padded(low, high) } },
        axes: [
            { ...axis, size: 26, values: timeLabels },
            { ...axis, size: 62, values: (_, values) => values.map((value) => nanoseconds(value)) },
        ],
        series: kind === "offset" ? [{}, edge, line, edge] : [{}, line],
        bands: kind === "offset" ? [{ series: [3, 1], fill: colour("--plot-band") }] : undefined,
        hooks: {
            setSelect: [
                (plot) => {
                    if (plot.select.width > 4) {
                        zoom(plot.posToVal(plot.select.left, "x") * 1000, plot.posToVal(plot.select.left + plot.select.width, "x") * 1000);
                    }
                    plot.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
                },
            ],
            setCursor: [(plot) => showValue(plot, kind)],
        },
    };
}

/** UTC by hand: labels of the library's own are in the words of one country. */
function timeLabels(_: uPlot, splits: number[], _axis: number, _space: number, step: number): string[] {
    return splits.map((seconds) => {
        const text = dateTime(seconds * 1000);
        return step >= 24 * 3600 ? text.slice(5, 10) : step >= 60 ? text.slice(11, 16) : text.slice(11);
    });
}

function padded(low: number | null, high: number | null): [number, number] {
    const least = low ?? -1;
    const most = high ?? 1;
    const room = Math.max((most - least) * 0.08, 1);
    return [least - room, most + room];
}

function showValue(plot: uPlot, kind: string): void {
    const i = plot.cursor.idx;
    const caption = plot.root.parentElement!;
    const values = i === null || i === undefined ? null : plot.data.slice(1).map((each) => each[i] ?? null);
    caption.dataset["value"] =
        values === null || values[0] === null
            ? ""
            : `${dateTime(plot.data[0]![i!]! * 1000).slice(5)}  ${kind === "offset" ? `${nanoseconds(values[1] as number)} (${nanoseconds(values[0] as number)} to ${nanoseconds(values[2] as number)})` : nanoseconds(values[0] as number)}`;
}
