/** Light, dark, or like the system; remembered for all reports. */
const key = "gmail report theme";
const themes = ["system", "light", "dark"];
const names = ["Auto", "Light", "Dark"];

function chosen(): number {
    try {
        return Math.max(0, themes.indexOf(localStorage.getItem(key) ?? "system"));
    } catch {
        return 0;
    }
}

let at = chosen();

export function theme_name(): string {
    return names[at] ?? "";
}

export function apply_theme(): void {
    document.documentElement.dataset["theme"] = themes[at];
}

export function next_theme(): string {
    at = (at + 1) % themes.length;
    try {
        localStorage.setItem(key, themes[at] ?? "system");
    } catch {
        // Then it lasts only as long as the page.
    }
    apply_theme();
    return theme_name();
}
