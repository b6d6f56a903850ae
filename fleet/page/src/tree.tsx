// Who follows whom, from the grandmasters down.
import { useEffect, useMemo, useState } from "preact/hooks";
import { fleet, useAnswer, useFleet, useNow } from "./fleet";
import { ago, count, nanoseconds } from "./format";
import { clockHref, ClockLink } from "./links";
import { Tree, standingNames, standingOf } from "./model";
import { StandingSign } from "./signs";
import { useNarrow } from "./table";
import { Branch, breaksHere, makeForest, rowsOf, TreeRow } from "./tree_model";
import { VirtualList } from "./virtual";

const patience = 1500; // between two trees, in milliseconds

/** A number that changes when clocks did, not too often. */
function useSlowChanges(): number {
    const changes = useFleet("clocks");
    const [slow, setSlow] = useState(0);
    useEffect(() => {
        const timer = setTimeout(() => setSlow(changes), slow === 0 ? 0 : patience);
        return () => clearTimeout(timer);
    }, [changes]);
    return slow;
}

/** The tree with what was opened and closed in it, and the row that is the current one. */
function useTree() {
    const { answer, trouble } = useAnswer<Tree>("tree", useSlowChanges());
    const forest = useMemo(() => (answer === null ? [] : makeForest(answer)), [answer, fleet.isComplete]);
    const [byHand, setByHand] = useState(new Map<string, boolean>());
    const [currentId, setCurrentId] = useState<string | null>(null);
    const rows = useMemo(() => rowsOf(forest, byHand), [forest, byHand]);
    const current = Math.max(0, rows.findIndex((row) => rowKey(row) === currentId));
    const set = (id: string, isExpanded: boolean) => setByHand(new Map(byHand).set(id, isExpanded));
    const toggle = (row: TreeRow) => (row.folded ? set(`${row.branch.id}+`, true) : row.isExpanded !== null && set(row.branch.id, !row.isExpanded));
    const next = () => {
        const found = [...rows.keys()].map((i) => (current + 1 + i) % rows.length).find((i) => !rows[i]!.folded && breaksHere(rows[i]!.branch));
        setCurrentId(found === undefined ? currentId : rowKey(rows[found]!));
    };
    const find = (text: string) => {
        const found = findBranch(forest, text.toLowerCase());
        if (found !== null) {
            setByHand(opened(byHand, found));
            setCurrentId(found.id);
        }
    };
    return { trouble, forest, rows, current, currentId, setCurrentId, toggle, next, find };
}

export function TreeView() {
    const { trouble, forest, rows, current, currentId, setCurrentId, toggle, next, find } = useTree();
    useFleet("offsets");
    const now = useNow(5000);
    const height = useNarrow() ? 34 : 25;
    const open = (row: TreeRow | undefined) => {
        if (row?.folded) {
            toggle(row);
        } else if (row?.branch.clock) {
            location.hash = clockHref(row.branch.name);
        }
    };
    return (
        <>
            <h1 class="unseen">Tree</h1>
            <TreeTools forest={forest} next={next} find={find} />
            <VirtualList
                role="tree"
                label="Clocks by whom they follow"
                rows={rows.length}
                height={height}
                current={current}
                currentKey={currentId}
                rowId={(row) => `branch-${row}`}
                setCurrent={(row) => setCurrentId(rows[row] ? rowKey(rows[row]!) : null)}
                open={(row) => open(rows[row])}
                onKey={(event, at) => moveByKey(event.key, rows, at, { toggle, next, setCurrentId })}
                draw={(i) => <BranchRow key={rowKey(rows[i]!)} id={`branch-${i}`} row={rows[i]!} isCurrent={i === current} now={now} toggle={toggle} choose={setCurrentId} />}
            />
            {rows.length === 0 && <p class="wait">{trouble ?? "Waiting for the server."}</p>}
        </>
    );
}

function rowKey(row: TreeRow): string {
    return row.folded ? `${row.branch.id}+` : row.branch.id;
}

interface Moves {
    toggle: (row: TreeRow) => void;
    next: () => void;
    setCurrentId: (id: string) => void;
}

function moveByKey(key: string, rows: TreeRow[], at: number, moves: Moves): boolean {
    const row = rows[at];
    if (row === undefined) {
        return false;
    }
    if (key === "n") {
        moves.next();
    } else if (key === "ArrowRight" && row.isExpanded === false) {
        moves.toggle(row);
    } else if (key === "ArrowRight" && row.isExpanded) {
        moves.setCurrentId(rowKey(rows[at + 1] ?? row));
    } else if (key === "ArrowLeft" && row.isExpanded) {
        moves.toggle(row);
    } else if (key === "ArrowLeft" && row.branch.parent !== null) {
        moves.setCurrentId(row.folded ? row.branch.id : row.branch.parent.id);
    } else {
        return false;
    }
    return true;
}

function findBranch(forest: Branch[], text: string): Branch | null {
    const stack = [...forest].reverse();
    let partial: Branch | null = null;
    for (let branch = stack.pop(); branch !== undefined; branch = stack.pop()) {
        const name = branch.name.toLowerCase();
        if (name === text || name.startsWith(`${text}/`) || branch.identity?.toLowerCase() === text) {
            return branch;
        }
        partial ??= name.includes(text) ? branch : null;
        stack.push(...[...branch.children].reverse());
    }
    return partial;
}

/** With all that is above a branch opened. */
function opened(byHand: Map<string, boolean>, to: Branch): Map<string, boolean> {
    const result = new Map(byHand);
    for (let up = to.parent; up !== null; up = up.parent) {
        result.set(up.id, true).set(`${up.id}+`, true);
    }
    return result;
}

function TreeTools({ forest, next, find }: { forest: Branch[]; next: () => void; find: (text: string) => void }) {
    const broken = forest.reduce((sum, root) => sum + (root.isBroken ? 1 : 0) + root.broken, 0);
    return (
        <div class="filters" role="search">
            <form
                onSubmit={(event) => {
                    event.preventDefault();
                    find(new FormData(event.currentTarget).get("name")!.toString());
                }}
            >
                <input type="search" name="name" placeholder="Name, then Enter" aria-label="Show a clock in the tree" />
            </form>
            <button type="button" onClick={next} disabled={broken === 0} title="Key n">
                Next break
            </button>
            <output class="faint">
                {count(forest.length)} at the top, {count(broken)} broken
            </output>
        </div>
    );
}

interface RowProps {
    id: string;
    row: TreeRow;
    isCurrent: boolean;
    now: number;
    toggle: (row: TreeRow) => void;
    choose: (id: string) => void;
}

function BranchRow({ id, row, isCurrent, now, toggle, choose }: RowProps) {
    const { branch, depth, folded } = row;
    return (
        <div
            role="treeitem"
            id={id}
            class={`branch${branch.isBroken && !folded ? " broken" : ""}`}
            aria-level={depth + 1}
            aria-expanded={row.isExpanded ?? undefined}
            aria-selected={isCurrent}
            aria-posinset={row.position}
            aria-setsize={row.siblings}
            onClick={() => choose(rowKey(row))}
        >
            <span class="depth" style={{ width: `${depth * 18}px` }} />
            <span class="twist" aria-hidden="true" onClick={() => toggle(row)}>
                {row.isExpanded === null ? "" : row.isExpanded ? "▾" : "▸"}
            </span>
            {folded ? (
                <span class="faint" onClick={() => toggle(row)}>
                    {count(folded.reduce((sum, each) => sum + 1 + each.all, 0))} more, all locked
                </span>
            ) : (
                <BranchText branch={branch} now={now} />
            )}
        </div>
    );
}

function BranchText({ branch, now }: { branch: Branch; now: number }) {
    const { clock } = branch;
    const standing = clock === null ? null : standingOf(clock);
    return (
        <>
            {standing !== null && <StandingSign of={standing} />}
            {clock === null ? <span class="number">{branch.name}</span> : <ClockLink clock={branch.name} />}
            {clock !== null && standing !== null && standing !== "locked" && (
                <strong class={standing}>
                    {standingNames[standing]} {ago(clock.silent ? clock.heard : clock.since, now)}
                </strong>
            )}
            {standing === "locked" && <span class="unseen">Locked</span>}
            {breaksHere(branch) && <span class="mark">{branch.isCutOff ? "cut off here" : "breaks here"}</span>}
            {branch.marks.map((mark) => (
                <span key={mark} class="mark">
                    {mark}
                </span>
            ))}
            {branch.all > 0 && (
                <span class="faint">
                    {count(branch.all)} below{branch.broken > 0 && <strong>, {count(branch.broken)} broken</strong>}
                </span>
            )}
            <span class="faint number end">
                {clock !== null && branch.parent === null && clock.clock_class !== null && `class ${clock.clock_class}`}
                {clock !== null && branch.parent !== null && nanoseconds(clock.offset)}
            </span>
        </>
    );
}
