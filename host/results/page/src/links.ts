/** Which files of the result the page links to, and which of them it shows. */

/** Kinds that a browser shows or saves without running anything in them and without asking the network. */
const harmless = new Set(
    ("png jpg jpeg gif webp bmp txt log csv pdf doc docx xls xlsx ppt pptx odt ods odp rtf zip 7z gz tar rar ics vcf " +
        "mp3 m4a wav ogg flac mp4 mov webm avi").split(" "),
);
const pictures = new Set(["png", "jpg", "jpeg", "gif", "webp", "bmp"]);
const max_picture = 30_000_000;

function extension(file: string): string {
    return /\.([^./]+)$/.exec(file)?.[1]?.toLowerCase() ?? "";
}

/** The address of a file in `Parts/` or `Attachments/`; null for any other. */
export function address_of(result_address: string, file: string | null): string | null {
    const name = /^(?:\.\/)?(Parts|Attachments)\/([^/\\]+)$/.exec(file ?? "");
    if (!name || name[2] === "." || name[2] === "..") return null;
    return `${result_address}${name[1]}/${encodeURIComponent(name[2] ?? "")}`;
}

/** The same when the file may be opened from here: a web page, say, would be run by the browser. */
export function link_to(result_address: string, file: string | null): string | null {
    return file !== null && harmless.has(extension(file)) ? address_of(result_address, file) : null;
}

/** The same when the file is a bitmap picture. */
export function picture_of(result_address: string, file: string | null, size: number | null): string | null {
    const is_small = size === null || size <= max_picture;
    return file !== null && is_small && pictures.has(extension(file)) ? address_of(result_address, file) : null;
}
