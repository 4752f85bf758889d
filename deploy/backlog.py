"""The tasks of a backlog: the lines of its list, and what their records say."""
import json
import os
from pathlib import Path


def tasks(list_file):
    """The sources of each line, in order; several on a line are separated by tabs. The last line may lack a line feed."""
    lines = Path(list_file).read_text(errors='surrogateescape').split('\n')
    return [line.split('\t') for line in (lines if lines[-1] else lines[:-1])]


def result_of(results, number):
    return Path(results) / f'{number:06d}'


def record_of(results, number):
    """The task's run.json; None if it does not exist or cannot be read."""
    path = result_of(results, number) / 'Artifacts_Result' / 'Gmail' / 'run.json'
    try:
        record = json.loads(path.read_text(errors='surrogateescape'))
        return record if isinstance(record, dict) and 'sources' in record else None
    except (OSError, ValueError):
        return None


def given_in(record):
    """The paths that were given to the recorded run, without repetition (users of one archive share it)."""
    return list(dict.fromkeys(given['path'] for source in record['sources'] for given in source['given']))


def is_of(record, sources):
    """Whether the record names these sources; it names others if the list was changed after the run."""
    return set(given_in(record)) == {os.path.normpath(os.path.abspath(source)) for source in sources}


def is_done(record, sources):
    return bool(record) and record['state'] == 'complete' and record['failures'] == 0 and is_of(record, sources)
