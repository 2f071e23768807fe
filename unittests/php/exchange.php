<?php
// Does what each line of standard input asks for and answers each with one line. Documents travel as dumps,
// "group(name=value;name=value;)group()" with every name and value in hexadecimal, texts in hexadecimal.
//   unserialize TEXT   the dump of what PHP's own unserialize makes of a text
//   read TEXT          the same by zumra_unserialize
//   serialize DUMP     the text that PHP's own serialize makes of a document
//   write DUMP         the same by zumra_serialize
require $argv[1];

function dump($document): string
{
    $text = '';
    foreach ($document as $group => $values) {
        $text .= bin2hex((string)$group) . '(';
        foreach ($values as $name => $value) {
            if (!is_string($value)) {
                throw new UnexpectedValueException('a value that is no string');
            }
            $text .= bin2hex((string)$name) . '=' . bin2hex($value) . ';';
        }
        $text .= ')';
    }
    return $text;
}

function undump(string $text): array
{
    $document = [];
    foreach (array_slice(explode(')', $text), 0, -1) as $part) {
        [$group, $values] = explode('(', $part);
        $group = hex2bin($group);
        $document[$group] = [];
        foreach (array_slice(explode(';', $values), 0, -1) as $value) {
            [$name, $value] = explode('=', $value);
            $document[$group][hex2bin($name)] = hex2bin($value);
        }
    }
    return $document;
}

while (($line = fgets(STDIN)) !== false) {
    [$what, $argument] = explode(' ', rtrim($line, "\n"));
    echo match ($what) {
        'unserialize' => dump(unserialize(hex2bin($argument))),
        'read' => dump(zumra_unserialize(hex2bin($argument))),
        'serialize' => bin2hex(serialize(undump($argument))),
        'write' => bin2hex(zumra_serialize(undump($argument))),
    }, "\n";
}
