// Requests to the server that the page came from. The token lives as long as the browser's tab.

const tokenKey = "ptp_fleet_token";

export class Problem extends Error {
    constructor(
        readonly status: number,
        message: string,
    ) {
        super(message);
    }
}

export function token(): string | null {
    return sessionStorage.getItem(tokenKey);
}

export function setToken(value: string | null): void {
    if (value) {
        sessionStorage.setItem(tokenKey, value);
    } else {
        sessionStorage.removeItem(tokenKey);
    }
}

async function request<Answer>(method: string, path: string, body?: unknown, signal?: AbortSignal): Promise<Answer> {
    const headers: Record<string, string> = {};
    const secret = token();
    if (secret) {
        headers["Authorization"] = `Bearer ${secret}`;
    }
    if (body !== undefined) {
        headers["Content-Type"] = "application/json";
    }
    let answer: Response;
    try {
        answer = await fetch(`api/v1/${path}`, { method, headers, signal, body: body === undefined ? undefined : JSON.stringify(body) });
    } catch (error) {
        if (signal?.aborted) {
            throw error;
        }
        throw new Problem(0, "The server does not answer.");
    }
    if (!answer.ok) {
        const problem = await answer.json().catch(() => null);
        throw new Problem(answer.status, problem?.detail ?? `The server answered ${answer.status}.`);
    }
    return answer.json();
}

export const get = <Answer>(path: string, signal?: AbortSignal) => request<Answer>("GET", path, undefined, signal);
export const post = <Answer>(path: string, body: unknown) => request<Answer>("POST", path, body);

export function clockPath(clock: string): string {
    return `clocks/${clock.split("/").map(encodeURIComponent).join("/")}`;
}
