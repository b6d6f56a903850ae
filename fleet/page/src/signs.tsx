// Signs for states and severities: each has its own shape, so that colour is never the only sign.
import { Severity, Standing, standingNames } from "./model";

const shapes: Record<Standing, string> = {
    locked: "M6 1a5 5 0 1 0 0 10A5 5 0 1 0 6 1z",
    "frequency-locked": "M6 1a5 5 0 1 0 0 10A5 5 0 1 0 6 1zM6 3.2a2.8 2.8 0 1 1 0 5.6A2.8 2.8 0 1 1 6 3.2z",
    acquiring: "M6 .5 11.5 11H.5z",
    holdover: "M6 1a5 5 0 0 0 0 10zM6 1v1.2a3.8 3.8 0 0 1 0 7.6V11A5 5 0 0 0 6 1z",
    freerun: "M6 0l6 6-6 6-6-6zM6 2.6 2.6 6 6 9.4 9.4 6z",
    initializing: "M1 5h2.2v2.2H1zM5 5h2.2v2.2H5zM9 5h2.2v2.2H9z",
    unknown: "M5 8.6h2v2H5zM2.6 4.2C2.6 2 4.200 1 6 1s3.400 1 3.400 2.900C9.400 6.100 7 6.200 7 7.800H5c0-2.300 2.200-2.500 2.200-3.800 0-.7-.5-1.100-1.200-1.100S4.700 3.300 4.700 4.200z",
    silent: "M2.200.800 6 4.600 9.800.800l1.400 1.400L7.400 6l3.800 3.800-1.400 1.400L6 7.400l-3.800 3.800L.8 9.800 4.600 6 .8 2.200z",
};

export function StandingSign({ of }: { of: Standing }) {
    return (
        <svg class={`sign ${of}`} viewBox="0 0 12 12" width="12" height="12" aria-hidden="true">
            <path fill-rule="evenodd" d={shapes[of]} />
        </svg>
    );
}

export function StandingText({ of }: { of: Standing }) {
    return (
        <span class={`standing ${of}`}>
            <StandingSign of={of} />
            {standingNames[of]}
        </span>
    );
}

const severityMarks: Record<Severity, string> = { critical: "!!!", major: "!!", warning: "!" };
export const severityNames: Record<Severity, string> = { critical: "Critical", major: "Major", warning: "Warning" };

export function SeverityText({ of }: { of: Severity }) {
    return (
        <span class={`severity ${of}`}>
            <span class="mark" aria-hidden="true">
                {severityMarks[of]}
            </span>
            {severityNames[of]}
        </span>
    );
}
