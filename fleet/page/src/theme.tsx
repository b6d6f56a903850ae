// Light or dark: as the system has it, or as chosen here.
import { useState } from "preact/hooks";

const themes = ["auto", "light", "dark"] as const;
type Theme = (typeof themes)[number];
const key = "ptp_fleet_theme";

function chosen(): Theme {
    const kept = localStorage.getItem(key);
    return themes.find((theme) => theme === kept) ?? "auto";
}

const isDark = matchMedia("(prefers-color-scheme: dark)");

export function applyTheme(): void {
    const theme = chosen();
    document.documentElement.dataset["theme"] = theme === "auto" ? (isDark.matches ? "dark" : "light") : theme;
    dispatchEvent(new Event("themechange"));
}
isDark.addEventListener("change", applyTheme);

export function ThemeButton() {
    const [theme, setTheme] = useState(chosen);
    const next = themes[(themes.indexOf(theme) + 1) % themes.length]!;
    const change = () => {
        localStorage.setItem(key, next);
        applyTheme();
        setTheme(next);
    };
    return (
        <button type="button" onClick={change} title={`Colours: ${theme}. Change to ${next}.`} aria-label={`Colours: ${theme}. Change to ${next}.`}>
            {theme === "auto" ? "Auto" : theme === "light" ? "Light" : "Dark"}
        </button>
    );
}
