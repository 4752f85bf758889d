/**
 * Loads data files. A page from the disk cannot read files, but it may run scripts beside it: each data file
 * calls `gmail_report` with its content.
 */
type Receive = (data: unknown) => void;

interface TrustedPolicy {
    createScriptURL(address: string): unknown;
}
interface PolicyFactory {
    createPolicy(name: string, rules: { createScriptURL(address: string): string }): TrustedPolicy;
}
declare global {
    // eslint-disable-next-line no-var
    var gmail_report: (name: string, number: number, data: unknown) => void;
    // eslint-disable-next-line no-var
    var trustedTypes: PolicyFactory | undefined;
}

const max_kept = 48;
const waiting = new Map<string, Receive>();
const kept = new Map<string, Promise<unknown>>();

function own_address(address: string): string {
    if (!/^data\/[a-z]+(-\d+)?\.js$/.test(address)) throw new Error(`not a data file: ${address}`);
    return address;
}

const policy: TrustedPolicy = globalThis.trustedTypes?.createPolicy("report-data", { createScriptURL: own_address }) ?? {
    createScriptURL: own_address,
};

globalThis.gmail_report = (name, number, data) => {
    const key = `${name}-${number}`;
    waiting.get(key)?.(data);
    waiting.delete(key);
};

/** Load a file without keeping it. */
export function load_once<Data>(name: string, number: number, address = `data/${name}-${number}.js`): Promise<Data> {
    return new Promise<Data>((resolve, reject) => {
        const script = document.createElement("script");
        waiting.set(`${name}-${number}`, (data) => resolve(data as Data));
        const fail = () => reject(new Error(`${address} is missing or damaged; write the report again`));
        script.onerror = fail;
        script.onload = () => {
            script.remove();
            if (waiting.delete(`${name}-${number}`)) fail();
        };
        script.src = policy.createScriptURL(address) as string;
        document.head.append(script);
    });
}

/** Load a file that may be needed again soon; the most recent ones are kept. */
export function load<Data>(name: string, number: number): Promise<Data> {
    const key = `${name}-${number}`;
    const found = (kept.get(key) as Promise<Data> | undefined) ?? load_once<Data>(name, number);
    kept.delete(key);
    kept.set(key, found);
    found.catch(() => kept.delete(key));
    for (const oldest of kept.keys()) {
        if (kept.size <= max_kept) break;
        kept.delete(oldest);
    }
    return found;
}

/** Which file an item is in, and its place there. `begins` are the first items of the files. */
export function find_file(begins: readonly number[], item: number): { file: number; at: number } {
    let low = 0;
    let high = begins.length;
    while (high - low > 1) {
        const middle = (low + high) >> 1;
        if ((begins[middle] ?? 0) <= item) low = middle;
        else high = middle;
    }
    return { file: low, at: item - (begins[low] ?? 0) };
}
