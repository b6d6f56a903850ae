// The tree as it is drawn: clocks below whom they follow, with what is broken first.
import { Clock, fleet } from "./fleet";
import { sortKey } from "./format";
import { Tree, isBroken } from "./model";

export interface Branch {
    id: string; // stays the same from one tree to the next
    name: string;
    clock: Clock | null; // of one outside of the fleet there is none
    identity: string | null;
    marks: string[];
    isBroken: boolean;
    isCutOff: boolean; // does not follow its parent here any more
    children: Branch[];
    parent: Branch | null;
    all: number; // clocks below
    broken: number; // of them
}

export interface TreeRow {
    branch: Branch;
    depth: number;
    isExpanded: boolean | null; // null: nothing below
    /** In place of a clock: so many that are well, and not shown. */
    folded: Branch[] | null;
    position: number; // among its siblings, from 1
    siblings: number;
}

const marksOfStanding: Record<string, string> = {
    outside: "not of this fleet",
    orphan: "orphan: whom it follows is not of this fleet",
    loop: "loop: following leads back here",
    unidentified: "has not said who it is, or whom it follows",
};
const fewest = 8; // of those that are well, below which they are not folded

export function makeForest(tree: Tree): Branch[] {
    const branches = tree.nodes.map(([index, identity, standing, , , disagrees, duplicate], i): Branch => {
        const clock = index === null ? null : (fleet.clocks[index] ?? null);
        const marks = [marksOfStanding[standing], disagrees ? "names another grandmaster than its parent" : "", duplicate ? "its identity is also another's" : ""];
        return {
            id: clock?.clock ?? identity ?? String(i),
            name: clock?.clock ?? identity ?? "?",
            clock,
            identity,
            marks: marks.filter((mark): mark is string => Boolean(mark)),
            isBroken: (clock !== null && isBroken(clock)) || disagrees || duplicate || standing === "orphan" || standing === "loop",
            isCutOff: false,
            children: [],
            parent: null,
            all: 0,
            broken: 0,
        };
    });
    // A loop is cut once, so that it can be drawn from somewhere.
    const cut = new Set(tree.loops.map((loop) => Math.min(...loop)));
    const roots = branches.filter((branch, i) => {
        const [, , , parent, wasBelow] = tree.nodes[i]!;
        const up = cut.has(i) ? null : (parent ?? wasBelow);
        const above = up === null ? null : branches[up]!;
        if (above === null || isBelow(above, branch)) {
            return true;
        }
        branch.parent = above;
        branch.isCutOff = parent === null;
        above.children.push(branch);
        return false;
    });
    sort(roots);
    return roots;
}

function isBelow(one: Branch, other: Branch): boolean {
    for (let up: Branch | null = one; up !== null; up = up.parent) {
        if (up === other) {
            return true;
        }
    }
    return false;
}

/** Counts what is below, and puts what is broken first. */
function sort(siblings: Branch[]): void {
    for (const branch of siblings) {
        sort(branch.children);
        branch.all = branch.children.reduce((sum, child) => sum + 1 + child.all, 0);
        branch.broken = branch.children.reduce((sum, child) => sum + (child.isBroken ? 1 : 0) + child.broken, 0);
    }
    const key = (branch: Branch) => branch.clock?.key ?? sortKey(branch.name);
    const rank = (branch: Branch) => (branch.isBroken ? 0 : branch.broken > 0 ? 1 : 2);
    siblings.sort((a, b) => rank(a) - rank(b) || (key(a) < key(b) ? -1 : 1));
}

/** Rows in view. What was not opened or closed by hand is open where something below is broken. */
export function rowsOf(forest: Branch[], byHand: Map<string, boolean>): TreeRow[] {
    const rows: TreeRow[] = [];
    const walk = (siblings: Branch[], depth: number, above: string) => {
        const isUnfolded = byHand.get(`${above}+`) ?? false;
        const well = siblings.filter((branch) => !branch.isBroken && branch.broken === 0);
        const shallFold = !isUnfolded && depth > 0 && well.length > fewest && well.length < siblings.length;
        const shown = shallFold ? siblings.filter((branch) => branch.isBroken || branch.broken > 0) : siblings;
        const count = shown.length + (shallFold ? 1 : 0);
        shown.forEach((branch, i) => {
            const isExpanded = branch.children.length === 0 ? null : (byHand.get(branch.id) ?? (branch.broken > 0 || depth === 0));
            rows.push({ branch, depth, isExpanded, folded: null, position: i + 1, siblings: count });
            if (isExpanded) {
                walk(branch.children, depth + 1, branch.id);
            }
        });
        if (shallFold) {
            rows.push({ branch: well[0]!.parent!, depth, isExpanded: false, folded: well, position: count, siblings: count });
        }
    };
    walk(forest, 0, "");
    return rows;
}

/** A clock from which on it is broken: what is above it is well. */
export function breaksHere(branch: Branch): boolean {
    return branch.isBroken && (branch.parent === null || branch.isCutOff || !branch.parent.isBroken);
}
