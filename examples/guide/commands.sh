# What the guide has its reader type, in its order.

qel run --rules examples/campus/rules.json --input examples/campus/tracks.jsonl.gz --output-format table

qel check examples/guide/first.json
qel run --rules examples/guide/first.json --input examples/campus/tracks.jsonl.gz --output-format table

qel run --rules examples/guide/together.json --input examples/campus/tracks.jsonl.gz --output-format table

qel check examples/guide/together.json
qel graph examples/guide/together.json > together.dot
qel types qel.observable.Previous
qel types --json-schema > rules.schema.json

qel simulate --seconds 120 --people 12 --drop-outs 0 --jitter 0 > clean.jsonl
qel simulate --seconds 120 --people 12 --drop-outs 0.2 --jitter 0.005 --id-switches 0.002 > hard.jsonl

for stream in clean hard; do
    qel run --rules examples/guide/square.json --input $stream.jsonl --output events.jsonl
    for rule in hasty patient; do
        echo "$stream, $rule: $(grep '"phase": "start"' events.jsonl | grep -c "\"rule\": \"$rule\"") events"
    done
done

qel simulate --channels 4 --seconds 120 > cameras.jsonl
qel run --rules examples/guide/cameras.json --input cameras.jsonl --output cameras.events.jsonl --jobs 4
qel run --rules examples/guide/cameras.json --input cameras.jsonl --output cameras.events.jsonl --resume
qel run --rules examples/guide/cameras.json --input cameras.jsonl --output-format table
