/** run.json, in which nothing is taken for granted: a key may be missing, or have a value of another kind. */
export type Json = Record<string, unknown>;

export function parse_run(text: string | null): Json | null {
    if (text === null) return null;
    try {
        return as_object(JSON.parse(text));
    } catch {
        return null;
    }
}

function as_object(value: unknown): Json {
    return typeof value === "object" && value !== null && !Array.isArray(value) ? (value as Json) : {};
}

export function object_of(object: Json, key: string): Json {
    return as_object(object[key]);
}

export function list_of(object: Json, key: string): Json[] {
    const value = object[key];
    return Array.isArray(value) ? value.map(as_object) : [];
}

export function text_of(object: Json, key: string): string {
    const value = object[key];
    return typeof value === "string" ? value : typeof value === "number" ? String(value) : "";
}

export function number_of(object: Json, key: string): number | null {
    const value = object[key];
    return typeof value === "number" ? value : null;
}
