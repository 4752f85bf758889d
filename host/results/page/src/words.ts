/** Searching: texts are split into words exactly as `report_search.cpp` does it. */
import { find_file, load } from "./chunks";

const buckets = 512;
const max_word = 40;
const encoder = new TextEncoder();

function is_word_alone(code: number): boolean {
    return code >= 0x2e80 && !(code >= 0xac00 && code <= 0xd7a3) && code < 0xff00;
}

export function words_of(text: string): string[] {
    const folded = text.normalize("NFKD").toLowerCase().replace(/\p{M}/gu, "").replace(/ς/g, "σ");
    const words: string[] = [];
    for (const run of folded.match(/[\p{L}\p{N}]+/gu) ?? []) {
        let word = "";
        let length = 0;
        for (const character of run) {
            if (is_word_alone(character.codePointAt(0) ?? 0)) {
                if (length > 1) words.push(word);
                words.push(character);
                word = "";
                length = 0;
            } else if (length < max_word) {
                word += character;
                ++length;
            }
        }
        if (length > 1) words.push(word);
    }
    return words;
}

function bucket_of(word: string): number {
    let hash = 2166136261;
    for (const byte of encoder.encode([...word].slice(0, 2).join(""))) hash = Math.imul(hash ^ byte, 16777619) >>> 0;
    return hash % buckets;
}

function mark_mails(found: Uint8Array, postings: string): void {
    const bytes = atob(postings);
    let mail = 0;
    for (let i = 0; i < bytes.length; ) {
        let value = 0;
        for (let shift = 0; ; shift += 7) {
            const byte = bytes.charCodeAt(i++);
            value += (byte & 0x7f) * 2 ** shift;
            if (byte < 0x80 || i >= bytes.length) break;
        }
        mail += value;
        found[mail] = 1;
    }
}

/** Mails with every word; a word matches by its beginning. Null when there is nothing to search for. */
export async function search(query: string, begins: readonly number[], mails: number): Promise<Uint8Array | null> {
    const words = [...new Set(words_of(query))];
    if (words.length === 0) return null;
    let all: Uint8Array | null = null;
    for (const word of words) {
        const file = await load<string[]>("search", find_file(begins, bucket_of(word)).file);
        const found = new Uint8Array(mails);
        for (let i = 0; i + 1 < file.length; i += 2) {
            if (file[i]?.startsWith(word)) mark_mails(found, file[i + 1] ?? "");
        }
        if (all === null) all = found;
        else for (let mail = 0; mail < mails; ++mail) all[mail] = (all[mail] ?? 0) & (found[mail] ?? 0);
    }
    return all;
}
