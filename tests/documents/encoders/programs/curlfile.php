<?php
[, $url, $description, $name] = $argv;
$curl = curl_init($url);
curl_setopt_array($curl, [
    CURLOPT_POSTFIELDS => ['metadata' => $description, 'file' => new CURLFile($name)],
    CURLOPT_RETURNTRANSFER => true,
]);
curl_exec($curl);
echo PHP_VERSION, "\n";
