// A long list of which only what is in view is drawn; it is moved through by keys, and one row is the current one.
import { ComponentChildren, RefObject } from "preact";
import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";

export interface Window {
    box: RefObject<HTMLDivElement>;
    first: number;
    last: number; // not included
    show: (row: number) => void;
}

const beyond = 12; // rows drawn above and below

export function useWindow(rows: number, height: number, head: number): Window {
    const box = useRef<HTMLDivElement>(null);
    const [top, setTop] = useState(0);
    const [room, setRoom] = useState(800);
    useLayoutEffect(() => {
        const element = box.current;
        if (element === null) {
            return;
        }
        // A step of some rows: scrolling within it draws nothing.
        const follow = () => setTop(Math.floor(element.scrollTop / (height * 6)) * height * 6);
        const measure = new ResizeObserver(() => setRoom(element.clientHeight));
        element.addEventListener("scroll", follow, { passive: true });
        measure.observe(element);
        setRoom(element.clientHeight);
        return () => {
            element.removeEventListener("scroll", follow);
            measure.disconnect();
        };
    }, [height]);
    const show = (row: number) => {
        const element = box.current;
        if (element === null) {
            return;
        }
        const at = row * height;
        if (at < element.scrollTop) {
            element.scrollTop = at;
        } else if (at + height > element.scrollTop + element.clientHeight - head) {
            element.scrollTop = at + height - element.clientHeight + head;
        }
    };
    const first = Math.max(0, Math.floor(top / height) - beyond);
    return { box, first, last: Math.min(rows, Math.ceil((top + room) / height) + beyond + 6), show };
}

interface ListProps {
    role: "grid" | "tree";
    label: string;
    rows: number;
    height: number;
    head?: ComponentChildren; // stays in view
    headHeight?: number;
    current: number;
    currentKey: string | null; // what was chosen, wherever its row is; null: nothing yet
    rowId: (row: number) => string;
    setCurrent: (row: number) => void;
    open: (row: number) => void;
    onKey?: (event: KeyboardEvent, row: number) => boolean;
    draw: (row: number) => ComponentChildren;
}

/** What a key does in a list; its box has the focus, whatever its rows are. */
function onListKey(event: KeyboardEvent, props: ListProps, box: HTMLElement | null, move: (to: number) => void): void {
    if (event.target !== box || event.ctrlKey || event.altKey || event.metaKey) {
        return;
    }
    const { rows, current } = props;
    const page = Math.max(1, Math.floor((box?.clientHeight ?? 400) / props.height) - 2);
    const steps: Record<string, number> = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -rows, End: rows };
    const step = steps[event.key];
    if (step !== undefined) {
        move(Math.max(0, Math.min(rows - 1, current + step)));
    } else if (event.key === "Enter") {
        props.open(current);
    } else if (!props.onKey?.(event, current)) {
        return;
    }
    event.preventDefault();
}

export function VirtualList(props: ListProps) {
    const { rows, height, current } = props;
    const list = useWindow(rows, height, props.headHeight ?? 0);
    // Not when rows change their order: a list that scrolls by itself cannot be read.
    useEffect(() => {
        if (props.currentKey !== null) {
            list.show(current);
        }
    }, [props.currentKey]);
    const drawn: ComponentChildren[] = [];
    for (let row = list.first; row < list.last; ++row) {
        drawn.push(props.draw(row));
    }
    return (
        <div
            ref={list.box}
            class="list"
            role={props.role}
            aria-label={props.label}
            aria-rowcount={props.role === "grid" ? rows + 1 : undefined}
            aria-activedescendant={current >= list.first && current < list.last ? props.rowId(current) : undefined}
            tabIndex={0}
            onKeyDown={(event) => onListKey(event, props, list.box.current, props.setCurrent)}
        >
            {props.head}
            <div role={props.role === "grid" ? "rowgroup" : "presentation"} style={{ height: `${rows * height}px` }}>
                <div role="presentation" style={{ transform: `translateY(${list.first * height}px)` }}>
                    {drawn}
                </div>
            </div>
        </div>
    );
}
