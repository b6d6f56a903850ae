// Who acts: a token lets its owner acknowledge alarms and send commands.
import { useEffect, useRef, useState } from "preact/hooks";
import { get, setToken, token } from "./api";
import { Session } from "./model";

let session: Session = { takes_commands: false, operator: null };
const listeners = new Set<() => void>();

async function refresh(): Promise<void> {
    try {
        session = await get<Session>("session");
    } catch {
        session = { takes_commands: false, operator: null };
    }
    listeners.forEach((listener) => listener());
}
void refresh();

/** The name of who may act here, or null. */
export function useOperator(): Session {
    const [, setCount] = useState(0);
    useEffect(() => {
        const listener = () => setCount((before) => before + 1);
        listeners.add(listener);
        return () => void listeners.delete(listener);
    }, []);
    return session;
}

export function OperatorButton() {
    const now = useOperator();
    const dialog = useRef<HTMLDialogElement>(null);
    if (!now.takes_commands) {
        return <span class="faint readonly">Read only</span>;
    }
    return (
        <>
            <button type="button" onClick={() => dialog.current?.showModal()}>
                {now.operator ?? "Sign in"}
            </button>
            <dialog ref={dialog} aria-labelledby="operator-title">
                <OperatorForm close={() => dialog.current?.close()} name={now.operator} />
            </dialog>
        </>
    );
}

function OperatorForm({ close, name }: { close: () => void; name: string | null }) {
    const field = useRef<HTMLInputElement>(null);
    const [trouble, setTrouble] = useState("");
    const enter = async (event: Event) => {
        event.preventDefault();
        setToken(field.current?.value.trim() ?? "");
        await refresh();
        setTrouble(session.operator === null && token() ? "The server does not know this token." : "");
        if (session.operator !== null) {
            close();
        }
    };
    const leave = async () => {
        setToken(null);
        await refresh();
        close();
    };
    return (
        <form onSubmit={enter}>
            <h2 id="operator-title">{name === null ? "Sign in to act" : `Signed in as ${name}`}</h2>
            <label>
                Token <input ref={field} type="password" autocomplete="off" required />
            </label>
            {trouble !== "" && <p role="alert">{trouble}</p>}
            <p class="buttons">
                <button type="submit">Sign in</button>
                {name !== null && (
                    <button type="button" onClick={leave}>
                        Sign out
                    </button>
                )}
                <button type="button" onClick={close}>
                    Close
                </button>
            </p>
            <p class="faint">It is forgotten when this tab is closed.</p>
        </form>
    );
}
