// Numbers, times and identities as people read them.

const units: [number, string][] = [
    [1e9, "s"],
    [1e6, "ms"],
    [1e3, "µs"],
];

/** Three digits that matter, with the unit that keeps them short. */
export function nanoseconds(value: number | null): string {
    if (value === null) {
        return "–";
    }
    const size = Math.abs(value);
    for (const [scale, unit] of units) {
        if (size >= scale * 10 || (size >= scale && scale > 1e3)) {
            return `${signed(value / scale)} ${unit}`;
        }
    }
    return `${signed(value)} ns`;
}

function signed(value: number): string {
    const size = Math.abs(value);
    const digits = size >= 100 || Number.isInteger(size) ? 0 : size >= 10 ? 1 : 2;
    return value.toFixed(digits).replace("-", "−");
}

export function duration(milliseconds: number): string {
    const seconds = Math.max(0, Math.round(milliseconds / 1000));
    if (seconds < 100) {
        return `${seconds} s`;
    }
    const minutes = Math.round(seconds / 60);
    if (minutes < 100) {
        return `${minutes} min`;
    }
    const hours = seconds / 3600;
    return hours < 48 ? `${hours < 10 ? hours.toFixed(1) : Math.round(hours)} h` : `${Math.round(hours / 24)} d`;
}

export function ago(time: number | null, now: number): string {
    return time === null ? "–" : duration(now - time);
}

const two = (value: number) => String(value).padStart(2, "0");

/** UTC, as logs have it: people in several places speak of the same moment. */
export function clockTime(time: number): string {
    const at = new Date(time);
    return `${two(at.getUTCHours())}:${two(at.getUTCMinutes())}:${two(at.getUTCSeconds())}`;
}

export function dateTime(time: number): string {
    const at = new Date(time);
    return `${at.getUTCFullYear()}-${two(at.getUTCMonth() + 1)}-${two(at.getUTCDate())} ${clockTime(time)}`;
}

/** The time alone within a day, with its date before that. */
export function moment(time: number, now: number): string {
    return now - time < 20 * 3600e3 ? clockTime(time) : dateTime(time).slice(5, 16);
}

export function count(value: number): string {
    return value.toString().replace(/\B(?=(\d{3})+(?!\d))/g, "\u202f");
}

/** The octets that tell identities of one maker's apart. */
export function shortIdentity(value: string): string {
    return `…${value.slice(-8)}`;
}

/** A key under which sim9 comes before sim10, made once: a collator would take a tenth of a second for 10 000. */
export function sortKey(name: string): string {
    return name.replace(/\d+/g, (digits) => digits.padStart(12, "0"));
}
